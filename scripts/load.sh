#!/usr/bin/env bash
# Builds preset release and runs the load tests in their full length.
#
#   scripts/load.sh [SECONDS] [TEST...]    600 seconds and all of them unless told otherwise
#
#   sessions    1,000 FTP sessions at the same time; does not depend on SECONDS
#   kills       24 FTP sessions moving data for SECONDS while their server is killed
#   sftp        64 SFTP sessions at the same time; then 16 moving data for SECONDS while theirs is
#
# QEL_LOAD_SEED repeats what is chosen at random; each run prints its own. QEL_LOAD_BUILD names
# another build folder, which the preset QEL_LOAD_PRESET (release) configures.
set -euo pipefail
cd "$(dirname "$0")/.."

case "${1:-}" in -h | --help) sed -n '2,11s/^# \{0,1\}//p' "$0"; exit 0 ;; esac
export QEL_LOAD_SECONDS=600
if [[ "${1:-}" =~ ^[0-9]+$ ]]; then QEL_LOAD_SECONDS=$1; shift; fi
if [ "$#" = 0 ]; then set -- sessions kills sftp; fi
for name in "$@"; do
    case "$name" in
        sessions | kills | sftp) ;;
        *) echo "no test $name; see scripts/load.sh --help" >&2; exit 2 ;;
    esac
done

preset=${QEL_LOAD_PRESET:-release}
build=${QEL_LOAD_BUILD:-build/$preset}
cmake --preset "$preset" -B "$build"
targets=("${@/#/load_}")
targets=("${targets[@]/%/_test}")
cmake --build "$build" -j "$(nproc)" --target "${targets[@]}"
failed=0
for target in "${targets[@]}"; do
    printf '\n== %s, %s s\n' "$target" "$QEL_LOAD_SECONDS"
    "$build/bin/$target" || failed=1
done
exit "$failed"
