#!/usr/bin/env bash
# Programs outside the source tree build against an installation and move files with it, also after
# it was moved and when it was staged. check-install.sh SOURCE BUILD PREFIX LIBDIR CXX
set -euo pipefail
source=$1 build=$2 prefix=$3 libdir=$4 cxx=$5
here=$source/tests/package
examples=$source/docs/examples
server_py=$source/tests/tool/ftpserver.py
. "$here/common.sh"
unset QEL_SERVER_PATH LD_LIBRARY_PATH

# A prefix of "/usr" takes its configuration to "/etc", which is no test's business.
[ "$prefix" != /usr ] || fail "Configure the tests with another prefix than /usr."

run_example() { "$source/tests/build/run-example.sh" "$1" "$server_py"; }

# configure SOURCE BUILD, against the moved installation
configure() {
    cmake -S "$1" -B "$2" -G Ninja -DCMAKE_CXX_COMPILER="$cxx" -DCMAKE_PREFIX_PATH="$moved" \
          -DEXAMPLES="$examples" -DCMAKE_FIND_PACKAGE_NO_SYSTEM_PACKAGE_REGISTRY=ON
}
make() {
    configure "$1" "$2" >"$scratch/build.log" 2>&1 && cmake --build "$2" -j2 >>"$scratch/build.log" ||
        fail "$(cat "$scratch/build.log")"
}

# project PAGE FILES...: the project that a page shows
project() {
    local page=$1 folder
    folder=$scratch/$(basename "$page" .md)
    shift
    mkdir "$folder"
    /usr/bin/python3 "$here/shown.py" "$source" "$page" cmake >"$folder/CMakeLists.txt"
    for file in "$@"; do cp "$examples/$file" "$folder"; done
    echo "$folder"
}

echo "== install, and move it"
cmake --install "$build" --prefix "$scratch/first" >/dev/null
moved="$scratch/moved here"
mv "$scratch/first" "$moved"
(cd "$moved" && find . ! -type d | sed 's/^\.\///' | LC_ALL=C sort) >"$scratch/names"
sed -e "s|^$libdir/|LIBDIR/|" -e 's/-\(debug\|release\|noconfig\)\.cmake$/-CONFIG.cmake/' \
    -e 's/\.so\.[0-9]*\.[0-9.]*$/.so.VERSION/' "$scratch/names" | LC_ALL=C sort >"$scratch/installed"
diff -u "$here/installed.list" "$scratch/installed" ||
    fail "The installed files differ from installed.list (- expected, + found)."

echo "== find_package, by the CMakeLists.txt of docs/library.md"
library=$(project docs/library.md fetch.cpp)
make "$library" "$scratch/found"
ldd "$scratch/found/fetch" | grep -F "libqelftpclient.so.0 => $moved/$libdir/" >/dev/null ||
    fail "fetch does not use the moved library: $(ldd "$scratch/found/fetch")"
run_example "$scratch/found/fetch"

echo "== pkg-config, by the command of docs/library.md"
command=$(grep -E '^g\+\+ .*pkg-config' "$source/docs/library.md") || fail "No command in the docs."
expect "commands in the docs" 1 "$(wc -l <<<"$command")"
# pkg-config escapes blanks for a shell to read, which a command substitution does not.
ln -s "$moved" "$scratch/plain"
(cd "$library" && PKG_CONFIG_PATH="$scratch/plain/$libdir/pkgconfig" bash -ec "$command")
LD_LIBRARY_PATH="$moved/$libdir" run_example "$library/fetch"

echo "== the installation knows its own place"
make "$here/outside" "$scratch/outside"
said=$("$scratch/outside/installation") || fail "installation: $said"
expect "installation says" "$moved/$libdir/qelftpclient/server"$'\n'"an SFTP session" "$said"

echo "== the installed program"
start_server "$server_py"
seq 100000 >"$scratch/root/numbers.txt"
export QELFTP_PASSWORD="tea time"
"$moved/bin/qelftp" --version
"$moved/bin/qelftp" get "ftp://bob@127.0.0.1:$port/numbers.txt" "$scratch/numbers.txt"
cmp "$scratch/root/numbers.txt" "$scratch/numbers.txt"

echo "== the example with options: whole, or as before"
run_whole() { "$scratch/outside/fetchwhole" 127.0.0.1 "$port" bob "tea time" "$@" 2>/dev/null || true; }
expect "a whole file" success "$(run_whole numbers.txt "$scratch/whole.txt" 1000000)"
cmp "$scratch/root/numbers.txt" "$scratch/whole.txt"
echo before >"$scratch/old.txt"
expect "a cancelled file" cancelled "$(run_whole numbers.txt "$scratch/old.txt" 100000)"
expect "the target of a cancelled file" before "$(cat "$scratch/old.txt")"
[ ! -e "$scratch/old.txt.part" ] || fail "old.txt.part is left behind."

echo "== one function replaced"
said=$("$scratch/outside/fetchlogged" 127.0.0.1 "$port" bob coffee numbers.txt "$scratch/none" 2>&1 || true)
grep -q '^transfer: Ftp_pass: \[FTPCLIENT\]' <<<"$said" || fail "Not the program's own log: $said"

echo "== without the stand-alone platform, by the CMakeLists.txt of docs/platform.md"
rm "$moved/$libdir/cmake/qelftpclient"/qelplatform*.cmake "$moved/$libdir"/libqelplatform.so*
if configure "$library" "$scratch/refused" >"$scratch/said" 2>&1; then
    fail "The component qelplatform was found, though it is not there."
fi
grep -q "qelplatform, the stand-alone platform, is not installed" "$scratch/said" ||
    fail "The message does not say what is missing: $(cat "$scratch/said")"
make "$(project docs/platform.md fetch.cpp ownplatform.cpp)" "$scratch/own"
"$here/check-own-platform.sh" "$scratch/own" "$moved/$libdir" "$build" "$server_py" "$source"

echo "== staged below DESTDIR, nothing outside the prefix"
DESTDIR="$scratch/stage" cmake --install "$build" >/dev/null
(cd "$scratch/stage" && find . ! -type d | sed "s|^\.$prefix/||" | LC_ALL=C sort) >"$scratch/staged"
diff -u "$scratch/names" "$scratch/staged" ||
    fail "What is staged below $prefix differs (- expected, + found)."
said=$(LD_LIBRARY_PATH="$scratch/stage$prefix/$libdir" "$scratch/outside/installation") || fail "$said"
expect "the staged installation says" \
    "$scratch/stage$prefix/$libdir/qelftpclient/server"$'\n'"an SFTP session" "$said"
echo "Built, run and moved files outside."
