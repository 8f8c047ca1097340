#!/usr/bin/env bash
# Measures the library beside libcurl, Poco, curl, lftp, wget, ncftp and OpenSSH's sftp: installs what
# is needed, builds, and does the same work with each, by turns, on one machine. For an idle one with
# two processors or more and 8 GiB of free memory.
#
#   bench/compare.sh                    all of it, for some hours: says first for how long
#   bench/compare.sh --write            ... and puts the results into docs/performance.md
#   bench/compare.sh --only 'sftp-*'    some of the works (--list names them)
#   bench/compare.sh --quick            tiny works: shows that everything works, nothing about speed
#   bench/compare.sh --help             all options
set -euo pipefail
cd "$(dirname "$0")/.."

for option in "$@"; do
    case "$option" in -h | --help) exec /usr/bin/python3 -B bench/compare.py "$@" ;; esac
done
scripts/install-deps.sh bench
cmake --preset release -B build/bench -DQEL_BUILD_TESTS=OFF
cmake --build build/bench --target qel_compare
exec /usr/bin/python3 -B bench/compare.py "$@"
