#!/usr/bin/env bash
# check-cost.sh SOURCE REFUSEDCOST
set -euo pipefail
. "$1/tests/package/common.sh"
start_server "$1/tests/tool/ftpserver.py"
QEL_LOG_LEVEL=off "$2" "$port"
