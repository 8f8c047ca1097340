#!/usr/bin/env bash
# Installs what is needed, builds, and runs every test.
#
#   scripts/test.sh              build preset dev and run all tests
#   scripts/test.sh PRESET...    the same with other presets of CMakePresets.json
#   scripts/test.sh --coverage   preset coverage; ends with the line coverage of src/
#   scripts/test.sh --all        all that CI runs: format, the analysers of scripts/analyse.sh, g++ and
#                                clang without warnings, the tests with threads under ThreadSanitizer,
#                                30 s of each fuzz target, the suite (but the files of 1 GiB) under the
#                                other sanitizers with the line coverage of src/, and last the suite of
#                                preset dev
set -euo pipefail
cd "$(dirname "$0")/.."

minimum_coverage=95

announce() { printf '\n== %s\n' "$*"; }

build() {
    announce "Building preset $1"
    cmake --preset "$1"
    cmake --build --preset "$@"
}

run_tests() {
    announce "Testing preset $1"
    ctest --preset "$1"
}

suite() {
    build "$@"
    run_tests "$1"
}

check_format() {
    announce "Format"
    git ls-files -z '*.cpp' '*.h' | xargs -0 clang-format --dry-run --Werror
    echo "As .clang-format wants it."
}

# The suite of a preset that counts lines.
covered_suite() {
    find "build/$1" -name '*.gcda' -delete 2>/dev/null || true
    suite "$1"
    announce "Line coverage of src/ (at least $minimum_coverage %)"
    gcovr --root . --object-directory "build/$1" --filter src/ --txt --print-summary \
          --fail-under-line "$minimum_coverage"
}

scripts/install-deps.sh test

if [ "$#" = 0 ]; then set -- dev; fi
for what in "$@"; do
    case "$what" in
        -h | --help) sed -n '2,12s/^# \{0,1\}//p' "$0"; exit 0 ;;
        --coverage) covered_suite coverage ;;
        --all)
            check_format
            scripts/analyse.sh cppcheck tidy
            build clang
            build dev
            scripts/analyse.sh valgrind
            suite tsan --target qel_thread_tests
            announce "Fuzzing"
            QEL_FUZZ_JOBS=4 scripts/fuzz.sh 30
            covered_suite asan
            run_tests dev
            ;;
        -*) echo "unknown option $what; see scripts/test.sh --help" >&2; exit 2 ;;
        *) suite "$what" ;;
    esac
done
