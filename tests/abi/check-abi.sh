#!/usr/bin/env bash
# Compares the library's interface, as its debug information tells it, with the committed
# description. check-abi.sh SOURCE LIBRARY DESCRIPTION [--write]
#
# --write makes the description anew: for changes that hosts are meant to see, by g++ as in preset
# dev.
set -euo pipefail
source=$1 library=$2 description=$3
for tool in abidw abidiff; do
    command -v $tool >/dev/null || { echo "$tool is missing: install abigail-tools." >&2; exit 1; }
done
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

# What hosts can reach only: the types behind m_pImpl may change. Without places and paths, which
# change with every edit and machine.
cd "$source"
abidw --exported-interfaces-only --drop-private-types --headers-dir include --headers-dir platform \
      --headers-dir src/support --no-corpus-path --no-comp-dir-path --no-show-locs --no-elf-needed \
      --no-architecture --type-id-style hash --out-file "$scratch/found.abi" "$library"
sed -i "s|path='[^']*/src/|path='src/|" "$scratch/found.abi"
if [ "${4:-}" = --write ]; then
    cp "$scratch/found.abi" "$description"
    exit 0
fi
grep -q "FtpTransferOptions" "$scratch/found.abi" ||
    { echo "$library has no debug information." >&2; exit 1; }
if ! abidiff "$description" "$scratch/found.abi"; then
    echo "The interface of $library differs from $description." >&2
    exit 1
fi
echo "The interface is the one of the committed description."
