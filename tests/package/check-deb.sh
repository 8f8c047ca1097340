#!/usr/bin/env bash
# The Debian packages hold the right files and dependencies, and the tool runs from them.
# check-deb.sh SOURCE BUILD CXX; BUILD is kept, so that a second run is quick.
set -euo pipefail
source=$1 build=$2 cxx=$3
here=$source/tests/package
. "$here/common.sh"
unset QEL_SERVER_PATH LD_LIBRARY_PATH

echo "== build and pack, as docs/library.md says but for the folder"
cd "$source"
expect "the commands of docs/library.md" \
    $'cmake --preset package\ncmake --build --preset package\ncpack --preset package' \
    "$(grep -A2 '^cmake --preset package$' docs/library.md)"
cpack --list-presets | grep -q '"package"' || fail "cpack knows no preset package."
cmake --preset package -B "$build" -DCMAKE_CXX_COMPILER="$cxx" >/dev/null
cmake --build "$build" -j2 >"$scratch/build.log" || fail "$(tail -50 "$scratch/build.log")"
cpack --config "$build/CPackConfig.cmake" -G DEB -B "$scratch/packed" >"$scratch/cpack.log" 2>&1 ||
    fail "$(cat "$scratch/cpack.log")"
version=$(sed -n 's/^set(CPACK_PACKAGE_VERSION "\(.*\)")/\1/p' "$build/CPackConfig.cmake")
[ -n "$version" ] || fail "No version."
triplet=$(dpkg-architecture -qDEB_HOST_MULTIARCH)
architecture=$(dpkg --print-architecture)
expect "packages" "libqelftpclient-dev libqelftpclient0 libqelplatform0 qelftp " \
    "$(cd "$scratch/packed" && for file in *.deb; do echo -n "${file%_"$version"_"$architecture".deb} "; done)"
package() { echo "$scratch/packed/$1_${version}_$architecture.deb"; }

echo "== files"
for name in libqelftpclient-dev libqelftpclient0 libqelplatform0 qelftp; do
    echo "$name"
    dpkg-deb -c "$(package $name)" | awk '$1 !~ /^d/ { $1 = $2 = $3 = $4 = $5 = ""; print }' |
        sed -e 's/^ *\.//' -e "s|/$triplet/|/TRIPLET/|g" -e "s/$version/VERSION/g" -e 's/^/    /' |
        LC_ALL=C sort
done >"$scratch/files"
diff -u "$here/deb.list" "$scratch/files" ||
    fail "The packages' files differ from deb.list (- expected, + found)."
for name in libqelftpclient-dev libqelftpclient0 libqelplatform0 qelftp; do
    odd=$(dpkg-deb -c "$(package $name)" | awk '$1 !~ /^(drwxr-xr-x|lrwxrwxrwx|-rw-r--r--)$/ && $NF !~ /bin\// || $2 != "root/root"')
    [ -z "$odd" ] || fail "Odd modes or owners in $name: $odd"
done

echo "== dependencies"
depends() { dpkg-deb -f "$(package "$1")" Depends; }
needs() {
    grep -qE "(^|, )$2" <<<"$(depends "$1")" || fail "$1 does not depend on $2: $(depends "$1")"
}
needs libqelftpclient-dev "libqelftpclient0 \(= $version\)"
needs libqelftpclient-dev "libqelplatform0 \(= $version\)"
needs qelftp "libqelftpclient0 \(= $version\)"
needs qelftp "libqelplatform0 \(= $version\)"
needs libqelftpclient0 'libace-'
needs libqelftpclient0 'libstdc\+\+6 '
needs libqelplatform0 'libssh-'
needs libqelplatform0 'libssl'
needs libqelplatform0 'libspdlog'
if grep -E 'qelplatform|libss|libspdlog' <<<"$(depends libqelftpclient0)"; then
    fail "The library alone wants a platform."
fi
expect "conffiles" /etc/qelftpclient/sftpAlgorithm.cfg \
    "$(dpkg-deb -I "$(package libqelplatform0)" conffiles)"
for name in libqelftpclient libqelplatform; do
    expect "shlibs of $name" "$name 0 ${name}0 (>= $version)" "$(dpkg-deb -I "$(package ${name}0)" shlibs)"
    expect "triggers of $name" "activate-noawait ldconfig" "$(dpkg-deb -I "$(package ${name}0)" triggers)"
done

echo "== the tool, unpacked"
for name in libqelftpclient0 libqelplatform0 qelftp libqelftpclient-dev; do
    dpkg -x "$(package $name)" "$scratch/unpacked"
done
usr=$scratch/unpacked/usr
libraries=$usr/lib/$triplet
for file in "$usr/bin/qelftp" "$libraries"/lib*.so.0 "$(find "$libraries" -name 'libkavo*')"; do
    if readelf -d "$file" | grep -E 'RPATH|RUNPATH'; then fail "$file looks for libraries by itself."; fi
    if readelf -S "$file" | grep -F .symtab; then fail "$file is not stripped."; fi
    expect "soname of $file" "$(case "$file" in *.so.0) basename "$file" ;; esac)" \
        "$(readelf -d "$file" | sed -n 's/.*(SONAME).*\[\(.*\)\]/\1/p' | grep -v kavo || true)"
done
start_server "$source/tests/tool/ftpserver.py"
seq 100000 >"$scratch/numbers.txt"
export LD_LIBRARY_PATH=$libraries QELFTP_PASSWORD="tea time"
expect "version" "$version" "$("$usr/bin/qelftp" --version | grep -oE '[0-9]+\.[0-9]+\.[0-9]+')"
"$usr/bin/qelftp" put "$scratch/numbers.txt" "ftp://bob@127.0.0.1:$port/there.txt"
cmp "$scratch/numbers.txt" "$scratch/root/there.txt"
"$usr/bin/qelftp" get "ftp://bob@127.0.0.1:$port/there.txt" "$scratch/back.txt"
cmp "$scratch/numbers.txt" "$scratch/back.txt"

echo "== a program, built against the unpacked development package"
"$cxx" -std=c++17 -o "$scratch/fetch" "$source/docs/examples/fetch.cpp" \
    -I"$usr/include/qelftpclient/include" -I"$usr/include/qelftpclient" -L"$libraries" -lqelftpclient -lqelplatform
"$source/tests/build/run-example.sh" "$scratch/fetch" "$source/tests/tool/ftpserver.py"
echo "Packed, unpacked and run."
