#!/usr/bin/env bash
# Compares what a shared library exports with a committed list of mangled names.
# check-symbols.sh LIBRARY LIST
set -euo pipefail
export LC_ALL=C

exported=$(nm -D --defined-only "$1" | awk '{print $NF}' | sort)
if ! diff -u "$2" <(printf '%s\n' "$exported"); then
    echo "The symbols of $1 differ from $2 (- expected, + found)." >&2
    echo "If hosts are meant to see the change, put it into the list." >&2
    exit 1
fi
