#!/bin/sh
# Puts a private sshd into DEST: DEST/sshd, and in DEST/lib what it needs and the machine may lack.
# Nothing is installed and no service starts. A DEST that works already is left alone.
#
# usage: fetch-sshd.sh DEST
#
# An installed sshd is copied, else Debian's packages are downloaded and unpacked. QEL_SSHD names
# another installed program; a path that does not exist forces the download.
#
# To be started by its absolute path, with LD_LIBRARY_PATH=DEST/lib.
set -eu

# The server, and what it needs beyond the libraries that come with g++ and libssh-dev.
packages="openssh-server libwrap0"

if [ $# -ne 1 ]; then
    echo "usage: $0 DEST" >&2
    exit 2
fi
mkdir -p "$(dirname "$1")"
dest=$(cd "$(dirname "$1")" && pwd)/$(basename "$1")
installed=${QEL_SSHD:-/usr/sbin/sshd}

missing_libraries() { # DIR
    LD_LIBRARY_PATH="$1/lib" ldd "$1/sshd" | awk '/not found/ { print $1 }'
}

exec 9>"$dest.lock"
flock 9 # several builds may ask at once

if [ -x "$dest/sshd" ] && [ -z "$(missing_libraries "$dest")" ]; then
    exit 0
fi

work=$(mktemp -d "$dest.XXXXXX")
trap 'rm -rf "$work"' EXIT
cd "$work"
mkdir -p new/lib

if [ -x "$installed" ]; then
    cp "$installed" new/sshd
else
    # The sandbox user could not write here; it only brings a warning.
    # shellcheck disable=SC2086 # a list of words
    apt-get -qq -o APT::Sandbox::User=root download $packages || {
        echo "fetch-sshd: cannot download $packages; are apt's lists there (apt-get update)?" >&2
        exit 1
    }
    for package in *.deb; do dpkg -x "$package" unpacked; done
    cp unpacked/usr/sbin/sshd new/sshd
    find unpacked -name 'lib*.so.*' -exec cp -P {} new/lib/ \;
fi

missing=$(missing_libraries new)
if [ -n "$missing" ]; then
    echo "fetch-sshd: sshd lacks" $missing >&2
    exit 1
fi
chmod -R a+rX new # other users may run it
rm -rf "$dest"
mv new "$dest"
echo "fetch-sshd: sshd is in $dest"
