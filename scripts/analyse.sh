#!/usr/bin/env bash
# Looks for mistakes with analysers; any finding is a failure.
#
#   scripts/analyse.sh                 all three
#   scripts/analyse.sh tidy|cppcheck|valgrind...
#
#   tidy      clang-tidy on src/, standalone/ and tools/; .clang-tidy says what for
#   cppcheck  cppcheck on the same, without what scripts/cppcheck.supp lists
#   valgrind  valgrind's memcheck on the test programs that need no server, of preset dev
#
# QEL_TIDY_BUILD and QEL_DEV_BUILD name other build folders than build/tidy and build/dev.
set -euo pipefail
cd "$(dirname "$0")/.."

# Program, and what of it is not run, as --gtest_filter takes it: tests that look at every byte of an
# object, unused ones included, that stand in the place of free(), which valgrind does, or that count
# the process's reads and writes, of which valgrind has its own.
memchecked=(
    "dialogue_test"
    "platform_test:-CipheredSecret.NeverStandsInItsStorage"
    "platform_encoding_test"
    "sftp_client_test:-SftpSecret.IsWipedBeforeItsMemoryIsFreed:SftpRelease.OverwritesTheExpectedHostKeyBeforeItsMemoryIsFreed"
    "hostfunctions_test"
    "platform_builtinpath_test"
    "platform_replace_test"
    "sftp_config_test"
    "support_test"
    "tool_engine"
    "tool_parts"
    "tool_sftp_parts"
    "tool_unit"
    "unit_test:-LocalFile.IsWrittenAndReadInLargeBlocks:LocalFile.IsNotWrittenMoreOften*"
)

announce() { printf '\n== %s\n' "$*"; }

tidy() {
    announce "clang-tidy"
    local build=${QEL_TIDY_BUILD:-build/tidy}
    mkdir -p "$build"
    # Without the tests, which compile some of the files a second time.
    cmake --preset clang -B "$build" -DQEL_BUILD_TESTS=OFF -DQEL_BUILD_BENCH=OFF \
        >"$build/configure.log" || { cat "$build/configure.log" >&2; return 1; }
    /usr/bin/python3 scripts/tidy.py "$build"
}

cppcheck_all() {
    announce "cppcheck"
    cppcheck -j "$(nproc)" --quiet --std=c++17 --language=c++ -I. --error-exitcode=1 --inline-suppr \
        --enable=warning,performance,portability,style --suppress=missingIncludeSystem \
        --suppressions-list=scripts/cppcheck.supp src standalone tools
    echo "Nothing found."
}

# One part of so many of a program's tests under valgrind; the output only if it fails.
memcheck() {
    local program=$1 filter=${2:-*} output status=0
    export GTEST_SHARD_INDEX=$3 GTEST_TOTAL_SHARDS=$4
    output=$(timeout 600 valgrind --quiet --leak-check=full --errors-for-leak-kinds=definite,indirect \
        --show-leak-kinds=definite,indirect --error-exitcode=99 --num-callers=30 \
        --suppressions=tests/valgrind.supp "$program" --gtest_brief=1 "--gtest_filter=$filter" 2>&1) ||
        status=$?
    if [ "$status" != 0 ] || ! grep -q '^\[  PASSED  \]' <<<"$output"; then
        printf '%s\n%s failed under valgrind (status %s).\n' "$output" "$program" "$status" >&2
        return 1
    fi
    echo "$(basename "$program"): $(grep -E '^\[=+\]' <<<"$output" | sed 's/^[^ ]* *//')"
}

memcheck_all() {
    announce "valgrind"
    local build=${QEL_DEV_BUILD:-build/dev}
    [ -f "$build/build.ninja" ] || cmake --preset dev -B "$build"
    cmake --build "$build" --target "${memchecked[@]%%:*}"
    export -f memcheck
    local test part parts
    for test in "${memchecked[@]}"; do
        parts=1
        if [ "$test" = dialogue_test ]; then parts=4; fi  # two minutes, most of them waiting
        for ((part = 0; part < parts; ++part)); do
            printf '%s\0' "$build/bin/${test%%:*}" "$(sed -E 's/^[^:]*:?//' <<<"$test")" $part $parts
        done
    done | xargs -0 -n 4 -P "$((2 * $(nproc)))" bash -c 'memcheck "$@"' memcheck
}

if [ "$#" = 0 ]; then set -- cppcheck tidy valgrind; fi
for what in "$@"; do
    case "$what" in
        tidy) tidy ;;
        cppcheck) cppcheck_all ;;
        valgrind) memcheck_all ;;
        -h | --help) sed -n '2,11s/^# \{0,1\}//p' "$0"; exit 0 ;;
        *) echo "unknown analyser $what; see scripts/analyse.sh --help" >&2; exit 2 ;;
    esac
done
