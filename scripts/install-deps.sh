#!/usr/bin/env bash
# Installs the Debian packages that a task needs: install-deps.sh build|demo|test
# For root, or a user with sudo. Does nothing when all are there.
set -euo pipefail

build=(g++ cmake ninja-build binutils libace-dev libspdlog-dev libfmt-dev libssl-dev
       libcli11-dev libssh-dev)
demo=("${build[@]}" python3 python3-pyftpdlib)
test=("${demo[@]}" openssh-server clang clang-format libgtest-dev gcovr curl locales procps git)

case "${1:-}" in
    build) wanted=("${build[@]}") ;;
    demo) wanted=("${demo[@]}") ;;
    test) wanted=("${test[@]}") ;;
    *) echo "usage: ${0##*/} build|demo|test" >&2; exit 2 ;;
esac

as_root() {
    if [ "$(id -u)" = 0 ]; then "$@"
    elif command -v sudo >/dev/null; then sudo "$@"
    else
        echo "These packages are missing: ${missing[*]}" >&2
        echo "Run this as root, or install sudo." >&2
        exit 1
    fi
}

missing=()
for package in "${wanted[@]}"; do
    state=$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null || true)
    [ "$state" = installed ] || missing+=("$package")
done
if [ "${#missing[@]}" = 0 ]; then
    echo "Packages: all there."
    exit 0
fi
echo "Installing: ${missing[*]}"
as_root apt-get update -q
as_root env DEBIAN_FRONTEND=noninteractive apt-get install -qy --no-install-recommends "${missing[@]}"
