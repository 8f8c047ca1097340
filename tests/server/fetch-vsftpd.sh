#!/bin/sh
# Puts a private vsftpd into DEST: DEST/vsftpd, and in DEST/lib what it needs and the machine lacks.
# Nothing is installed and no service starts. A DEST that works already is left alone.
#
# usage: fetch-vsftpd.sh DEST
#
# An installed vsftpd is copied, else Debian's package is downloaded and unpacked. QEL_VSFTPD names
# another installed program; a path that does not exist forces the download.
set -eu

if [ $# -ne 1 ]; then
    echo "usage: $0 DEST" >&2
    exit 2
fi
mkdir -p "$(dirname "$1")"
dest=$(cd "$(dirname "$1")" && pwd)/$(basename "$1")
installed=${QEL_VSFTPD:-/usr/sbin/vsftpd}

missing_libraries() { # DIR
    LD_LIBRARY_PATH="$1/lib" ldd "$1/vsftpd" | awk '/not found/ { print $1 }'
}

package_of() { # LIBRARY
    case $1 in
        libaudit.so.1) echo libaudit1 ;;
        libcap-ng.so.0) echo libcap-ng0 ;;
        libcap.so.2) echo libcap2 ;;
        libcom_err.so.2) echo libcom-err2 ;;
        libcrypto.so.3 | libssl.so.3) echo libssl3 ;;
        libgssapi_krb5.so.2) echo libgssapi-krb5-2 ;;
        libk5crypto.so.3) echo libk5crypto3 ;;
        libkeyutils.so.1) echo libkeyutils1 ;;
        libkrb5.so.3) echo libkrb5-3 ;;
        libkrb5support.so.0) echo libkrb5support0 ;;
        libnsl.so.2) echo libnsl2 ;;
        libpam.so.0) echo libpam0g ;;
        libtirpc.so.3) echo libtirpc3 ;;
        libwrap.so.0) echo libwrap0 ;;
        *) echo "fetch-vsftpd: no package known for $1" >&2 && return 1 ;;
    esac
}

download() { # PACKAGE, into the current directory
    # The sandbox user could not write here; it only brings a warning.
    apt-get -qq -o APT::Sandbox::User=root download "$1" || {
        echo "fetch-vsftpd: cannot download $1; are the package lists there (apt-get update)?" >&2
        return 1
    }
}

unpack() { # PACKAGE, into ./unpacked
    download "$1"
    dpkg -x "$1"_*.deb unpacked
    rm -f "$1"_*.deb
}

add_library() { # LIBRARY, to ./new/lib
    unpack "$(package_of "$1")"
    find unpacked -name "$1*" -exec cp -P {} new/lib/ \;
    rm -rf unpacked
}

exec 9>"$dest.lock"
flock 9 # several builds and tests may ask at once

if [ -x "$dest/vsftpd" ] && [ -z "$(missing_libraries "$dest")" ]; then
    exit 0
fi

work=$(mktemp -d "$dest.XXXXXX")
trap 'rm -rf "$work"' EXIT
cd "$work"
mkdir -p new/lib

if [ -x "$installed" ]; then
    cp "$installed" new/vsftpd
else
    unpack vsftpd
    cp unpacked/usr/sbin/vsftpd new/vsftpd
    rm -rf unpacked
fi

# A library that was added may need others.
while library=$(missing_libraries new | head -n 1) && [ -n "$library" ]; do
    if [ "$library" = "${last:-}" ]; then
        echo "fetch-vsftpd: $library is still missing" >&2
        exit 1
    fi
    add_library "$library"
    last=$library
done

chmod -R a+rX new # the tests run it as another user
rm -rf "$dest"
mv new "$dest"
echo "fetch-vsftpd: vsftpd is in $dest"
