#!/usr/bin/env bash
# A program on a platform of its own moves files, and every platform function that it or the library
# needs is that platform's. check-own-platform.sh OUTSIDE_BUILD LIBRARY_DIR BUILD FTPSERVER.PY SOURCE
set -euo pipefail
outside=$1 libraries=$2 build=$3 server_py=$4 source=$5
export LC_ALL=C
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
fail() {
    echo "$*" >&2
    exit 1
}

"$source/tests/build/run-example.sh" "$outside/fetch" "$server_py"
if ldd "$outside/fetch" | grep qelplatform; then
    fail "It still uses the stand-alone platform."
fi

# All that platform/ declares: what the library and the wrapper leave open and the stand-alone
# platform answers.
wrapper=$(find "$libraries" -name libkavo_sftp_wrapper.so)
[ -n "$wrapper" ] || fail "No wrapper below $libraries."
nm -D --undefined-only "$libraries/libqelftpclient.so" "$wrapper" | awk 'NF == 2 { print $2 }' |
    sort -u >"$scratch/needed"
nm -D --defined-only "$build/lib/libqelplatform.so" | awk '{ print $NF }' | sort -u >"$scratch/standalone"
nm -D --defined-only "$outside/libownplatform.so" | awk '{ print $NF }' | sort -u >"$scratch/own"
comm -12 "$scratch/needed" "$scratch/standalone" >"$scratch/platform"
count=$(wc -l <"$scratch/platform")
[ "$count" -ge 25 ] || fail "Only $count platform functions were found."
missing=$(comm -23 "$scratch/platform" "$scratch/own" | c++filt)
[ -z "$missing" ] || fail "The example of a platform lacks: $missing"

# The loader says where it found each.
LD_DEBUG=bindings LD_BIND_NOW=1 LD_DEBUG_OUTPUT="$scratch/bindings" \
    "$outside/fetch" >/dev/null 2>&1 || true
nm -D --undefined-only "$libraries/libqelftpclient.so" | awk '{ print $NF }' | sort -u |
    comm -12 - "$scratch/platform" >"$scratch/called"
while read -r symbol; do
    grep -h "binding file .*libqelftpclient.* to .*libownplatform\.so .*symbol \`$symbol'" \
         "$scratch"/bindings.* >/dev/null || fail "$symbol is not the own platform's: $(
         grep -h "libqelftpclient.* \`$symbol'" "$scratch"/bindings.*)"
done <"$scratch/called"

# And what it says is heard.
said=$("$outside/fetch" 127.0.0.1 1 bob coffee numbers.txt "$scratch/none" 2>&1 || true)
grep -q '^host: error 0x' <<<"$said" || fail "Nothing in the own log: $said"
echo "All $(wc -l <"$scratch/called") platform functions that the library calls are the own platform's."
