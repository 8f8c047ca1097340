#!/usr/bin/env bash
# Builds the fuzz targets with libFuzzer and runs each for some seconds, two at a time.
#
#   scripts/fuzz.sh [SECONDS] [TARGET...]    30 seconds and all targets unless told otherwise
#
# Starts from the committed inputs of fuzz/corpus; what is found beyond them stays in
# build/fuzz/corpus and is used by the next run. Fails on any finding and leaves its input in
# build/fuzz/findings. QEL_FUZZ_BUILD names another build folder, QEL_FUZZ_JOBS another number of
# targets at a time.
set -euo pipefail
cd "$(dirname "$0")/.."

case "${1:-}" in -h | --help) sed -n '2,9s/^# \{0,1\}//p' "$0"; exit 0 ;; esac
seconds=30
if [[ "${1:-}" =~ ^[0-9]+$ ]]; then seconds=$1; shift; fi
if [ "$seconds" = 0 ]; then echo "libFuzzer takes 0 seconds for no limit" >&2; exit 2; fi
all=()
for folder in fuzz/corpus/*/; do all+=("$(basename "$folder")"); done
if [ "$#" = 0 ]; then set -- "${all[@]}"; fi
for target in "$@"; do
    if [ ! -f "fuzz/$target.cpp" ] || [ ! -d "fuzz/corpus/$target" ]; then
        echo "no target $target; there are: ${all[*]}" >&2
        exit 2
    fi
done

build=${QEL_FUZZ_BUILD:-build/fuzz}
cmake --preset fuzz -B "$build"
cmake --build "$build" -j "$(nproc)" --target "${@/#/fuzz_}"
mkdir -p "$build/findings" "$build/logs"

run() {
    local work="$build/corpus/$1"
    mkdir -p "$work"
    "$build/bin/fuzz_$1" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=1024 -max_len=4096 \
        -print_final_stats=1 -dict="fuzz/dict/$1.dict" -artifact_prefix="$build/findings/$1-" \
        "$work" "fuzz/corpus/$1" >"$build/logs/$1.log" 2>&1
}

# The last figure that libFuzzer gives under a name.
figure() { grep -oE "$2" "$build/logs/$1.log" | tail -n 1 | grep -oE '[0-9]+' || echo -; }

failed=()
reap() {
    local pid target
    wait -n -p pid "${!running[@]}" || failed+=("${running[$pid]}")
    target=${running[$pid]}
    unset "running[$pid]"
    printf '%-14s %12s %8s %9s %9s\n' "$target" \
        "$(figure "$target" 'stat::number_of_executed_units: *[0-9]+')" \
        "$(figure "$target" 'stat::average_exec_per_sec: *[0-9]+')" \
        "$(figure "$target" 'cov: [0-9]+')" "$(figure "$target" 'ft: [0-9]+')"
}

declare -A running=()
printf '%-14s %12s %8s %9s %9s\n' target executions exec/s coverage features
for target in "$@"; do
    while [ "${#running[@]}" -ge "${QEL_FUZZ_JOBS:-2}" ]; do reap; done
    run "$target" &
    running[$!]=$target
done
while [ "${#running[@]}" -gt 0 ]; do reap; done

for target in ${failed[@]+"${failed[@]}"}; do
    printf '\n%s: finding\n' "$target" >&2
    grep -A 12 -E 'Broken rule|runtime error: |ERROR: ' "$build/logs/$target.log" | head -n 30 >&2 ||
        tail "$build/logs/$target.log" >&2
    ls "$build/findings/$target-"* >&2 || true
done
[ "${#failed[@]}" = 0 ]
