#!/usr/bin/env bash
# The library builds by itself, with no test, tool or platform. check-alone.sh ROOT SCRATCH
set -euo pipefail
cmake -S "$1" -B "$2" -G Ninja -DQEL_BUILD_STANDALONE=OFF -DQEL_BUILD_TOOLS=OFF \
      -DQEL_BUILD_TESTS=OFF -DQEL_BUILD_BENCH=OFF >/dev/null
cmake --build "$2"
[ -f "$2/lib/libqelftpclient.so" ]
[ ! -e "$2/lib/libqelplatform.so" ]
