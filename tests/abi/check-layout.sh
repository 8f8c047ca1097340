#!/usr/bin/env bash
# Compares the printed layout with the committed one. check-layout.sh PROGRAM EXPECTED
set -euo pipefail
if ! diff -u "$2" <("$1"); then
    echo "The layout differs from $2 (- expected, + found): hosts built against it would break." >&2
    exit 1
fi
echo "$(wc -l <"$2") lines of layout are as hosts know them."
