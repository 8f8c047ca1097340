#!/usr/bin/env bash
# Every header compiles alone; exported and platform ones as C++11 too. check-headers.sh CXX ROOT
set -euo pipefail
cxx=$1
cd "$2"

checked=0
compile() {
    printf '#include "%s"\n#include "%s"\n' "$2" "$2" |
        "$cxx" "-std=$1" -Wall -Wextra -Wpedantic -Werror -fsyntax-only -I. -x c++ - ||
        { echo "$2 does not compile alone as $1." >&2; exit 1; }
    checked=$((checked + 1))
}
for header in include/*.h platform/*.h src/support/autopassword.h; do compile c++11 "$header"; done
while read -r header; do compile c++17 "$header"; done < <(
    find include platform src standalone tools tests -name '*.h' | sort)
echo "$checked compilations of single headers."
[ "$checked" -gt 20 ] || { echo "Too few headers found." >&2; exit 1; }
