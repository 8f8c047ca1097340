#!/usr/bin/env bash
# Installs the Debian packages that a task needs: install-deps.sh build|demo|test|bench
# For root, or a user with sudo. Does nothing when all are there. The servers to test against are not
# among them, since Debian would start them: the build unpacks their packages, for which it needs apt's
# lists.
set -euo pipefail

build=(g++ cmake ninja-build binutils libace-dev libspdlog-dev libfmt-dev libssl-dev
       libcli11-dev libssh-dev nlohmann-json3-dev)
demo=("${build[@]}" openssh-client python3 python3-pyftpdlib)
test=("${demo[@]}" clang libclang-rt-dev clang-format clang-tidy cppcheck valgrind libgtest-dev libbenchmark-dev gcovr curl locales procps groff-base zsh
      git abigail-tools dpkg-dev file pkg-config)
bench=("${build[@]}" libbenchmark-dev libcurl4-openssl-dev libpoco-dev curl lftp ncftp wget openssh-client
       python3 strace librsvg2-bin)

case "${1:-}" in
    build) wanted=("${build[@]}") ;;
    demo) wanted=("${demo[@]}") ;;
    test) wanted=("${test[@]}") ;;
    bench) wanted=("${bench[@]}") ;;
    *) echo "usage: ${0##*/} build|demo|test|bench" >&2; exit 2 ;;
esac

as_root() {
    if [ "$(id -u)" = 0 ]; then "$@"
    elif command -v sudo >/dev/null; then sudo "$@"
    else
        echo "Missing: ${missing[*]:-the lists of apt}" >&2
        echo "Run this as root, or install sudo." >&2
        exit 1
    fi
}

missing=()
for package in "${wanted[@]}"; do
    state=$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null || true)
    [ "$state" = installed ] || missing+=("$package")
done
lists_missing() { [ "$1" != build ] && ! apt-get -qq --print-uris download openssh-server &>/dev/null; }
if [ "${#missing[@]}" = 0 ] && ! lists_missing "$1"; then
    echo "Packages: all there."
    exit 0
fi
as_root apt-get update -q
[ "${#missing[@]}" != 0 ] || exit 0
echo "Installing: ${missing[*]}"
as_root env DEBIAN_FRONTEND=noninteractive apt-get install -qy --no-install-recommends "${missing[@]}"
