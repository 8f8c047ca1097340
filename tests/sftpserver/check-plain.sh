#!/usr/bin/env bash
# What is preloaded into sshd carries no runtime of a sanitizer or of line counting: sshd crashes with
# the one, and its sandbox kills it with the other. check-plain.sh MODULE CXX SOURCE
# The check itself is tried on the module's source, built with each of them.
set -euo pipefail

module=$1 compiler=$2 source=$3

runtime_symbols() { # FILE
    readelf --wide --symbols --dynamic "$1" |
        grep -oE '\<(__(gcov|llvm_prof|llvm_gcov|asan|tsan|msan|lsan|ubsan|sanitizer|sancov)_[a-z_0-9]+|lib(asan|tsan|ubsan|lsan|gcov)\.so[.0-9]*)' |
        sort -u
}

if ! readelf --wide --symbols "$module" | grep ' getspnam$' >/dev/null; then
    echo "$module does not define getspnam: is it the module?" >&2
    exit 1
fi
if found=$(runtime_symbols "$module"); then
    echo "$module is instrumented; it is to be built without the build's own options:" $found >&2
    exit 1
fi

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
for option in --coverage -fsanitize=address -fsanitize=thread; do
    "$compiler" -O1 -fPIC "$option" -c "$source" -o "$scratch/instrumented.o"
    if ! runtime_symbols "$scratch/instrumented.o" >/dev/null; then
        echo "The check does not notice $option." >&2
        exit 1
    fi
done
echo "Plain."
