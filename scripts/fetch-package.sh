#!/bin/sh
# Puts files of Debian packages into DEST, by their base names, and into DEST/lib the libraries that
# they need and the machine lacks. Nothing is installed and no service starts. A DEST that has all of
# them already is left alone.
#
# usage: fetch-package.sh DEST PACKAGE... -- PATH...
#
# PATH is a file or a folder ("/usr/sbin/vsftpd"). When all of them are installed they are copied, else
# the packages are downloaded and unpacked, with those that they depend on, as far as these are
# libraries and not installed. With QEL_FETCH=always nothing is copied.
#
# DEST/versions tells the packages' versions. Programs are to be started with LD_LIBRARY_PATH=DEST/lib.
set -eu

usage() {
    echo "usage: $0 DEST PACKAGE... -- PATH..." >&2
    exit 2
}

[ $# -ge 4 ] || usage
mkdir -p "$(dirname "$1")"
dest=$(cd "$(dirname "$1")" && pwd)/$(basename "$1")
shift
packages=""
while [ $# -gt 0 ] && [ "$1" != -- ]; do
    packages="$packages $1"
    shift
done
[ $# -ge 2 ] && [ -n "$packages" ] || usage
shift # what is left are the paths

all_below() { # DIR PATH...
    root=$1
    shift
    for path in "$@"; do [ -e "$root$path" ] || return 1; done
}

# Of the files, not of what is in folders: modules that nobody loads may lack something.
missing_libraries() { # DIR PATH...
    dir=$1
    shift
    for path in "$@"; do
        [ ! -f "$dir/${path##*/}" ] ||
            LD_LIBRARY_PATH="$dir/lib" ldd "$dir/${path##*/}" 2>/dev/null |
            awk '/not found/ { print $1 }'
    done
}

is_whole() { # DIR PATH...
    [ -e "$1/versions" ] || return 1
    whole=$1
    shift
    for path in "$@"; do [ -e "$whole/${path##*/}" ] || return 1; done
    [ -z "$(missing_libraries "$whole" "$@")" ]
}

version_of_installed() { # PACKAGE
    dpkg-query -W -f '${Package} ${Version}\n' "$1" 2>/dev/null || echo "$1 unknown"
}

is_installed() { # PACKAGE
    [ "$(dpkg-query -W -f '${db:Status-Status}' "$1" 2>/dev/null)" = installed ]
}

libraries_needed_by() { # DEB
    dpkg-deb -f "$1" Depends | tr ',' '\n' | sed 's/|.*//; s/(.*//; s/:any//; s/ //g' | grep '^lib' || true
}

# A package may be asked for by several others.
download_with_libraries() { # PACKAGE
    [ ! -e "debs/$1" ] || return 0
    mkdir -p "debs/$1"
    # The sandbox user could not write here; it only brings a warning.
    (cd "debs/$1" && apt-get -qq -o APT::Sandbox::User=root download "$1") || {
        echo "fetch-package: cannot download $1; are apt's lists there (apt-get update)?" >&2
        return 1
    }
    dpkg -x "debs/$1"/*.deb unpacked
    for needed in $(libraries_needed_by "debs/$1"/*.deb); do
        is_installed "$needed" || download_with_libraries "$needed" || return 1
    done
}

exec 9>"$dest.lock"
flock 9 # several builds and tests may ask at once

if is_whole "$dest" "$@"; then
    exit 0
fi

work=$(mktemp -d "$dest.XXXXXX")
trap 'rm -rf "$work"' EXIT
cd "$work"
mkdir -p new/lib unpacked debs

if [ "${QEL_FETCH:-}" != always ] && all_below "" "$@"; then
    from=""
    for package in $packages; do version_of_installed "$package"; done >new/versions
else
    from=unpacked
    for package in $packages; do download_with_libraries "$package"; done
    for package in $packages; do dpkg-deb -W --showformat '${Package} ${Version}\n' "debs/$package"/*.deb; done >new/versions
    find unpacked -name 'lib*.so.*' -exec cp -P {} new/lib/ \;
fi
for path in "$@"; do cp -R "$from$path" new/; done

missing=$(missing_libraries new "$@")
if [ -n "$missing" ]; then
    echo "fetch-package:$packages: still missing:" $missing >&2
    exit 1
fi
chmod -R a+rX new # other users may run it
rm -rf "$dest"
mv new "$dest"
echo "fetch-package:$packages: in $dest"
