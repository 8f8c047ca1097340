#!/usr/bin/env bash
# Shows that the layout test notices what it is for: each change below, made to a copy of the
# headers, must be found. check-changes.sh CXX SOURCE LIBRARY_DIR
set -euo pipefail
cxx=$1 source=$2 libraries=$3
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

printed() {
    "$cxx" -std=c++17 -I"$scratch/copy" "$source/tests/abi/layout.cpp" -o "$scratch/layout" \
        -L"$libraries" -lqelftpclient -lqelplatform -Wl,-rpath,"$libraries" &&
        "$scratch/layout" >"$scratch/printed"
}
copy() {
    rm -rf "$scratch/copy"
    mkdir -p "$scratch/copy/src/support"
    cp -r "$source/include" "$source/platform" "$scratch/copy"
    cp "$source/src/support/autopassword.h" "$scratch/copy/src/support"
}

copy
printed
diff -u "$source/tests/abi/layout.expected" "$scratch/printed" ||
    { echo "The unchanged headers differ already." >&2; exit 1; }

caught=0
# change WHAT HEADER SED_SCRIPT
change() {
    copy
    sed -i -E "$3" "$scratch/copy/$2"
    if cmp -s "$source/$2" "$scratch/copy/$2"; then
        echo "$1: the change did not apply to $2." >&2
        exit 1
    fi
    printed || { echo "$1: does not compile." >&2; exit 1; }
    if cmp -s "$source/tests/abi/layout.expected" "$scratch/printed"; then
        echo "$1: not noticed." >&2
        exit 1
    fi
    caught=$((caught + 1))
}
# swap NAME OTHER: each in the place of the other, once a line
swap() { echo "s/\<$1\>/kept_aside/; s/\<$2\>/$1/; s/kept_aside/$2/"; }

change "two operations swapped" include/ftpclient.h "$(swap RemoveFile RemoveDir)"
change "an operation made virtual" include/ftpclient.h 's/void setTransferOptions/virtual &/'
change "an operation put in front" include/ftpclient.h \
       's/^( *)virtual void setParam/\1virtual void first() {}\n&/'
change "the destructor no longer virtual" platform/sftpwrapper.h 's/virtual (~SFTP_SessionCB)/\1/'
change "two option fields swapped" include/ftpclient.h "$(swap bVerify bAnyDataAddress)"
change "an option field widened" include/ftpclient.h 's/unsigned int uBlockSize/unsigned long long uBlockSize/'
change "a field added" include/ftpclient.h 's/std::string strDstFile;/& int added;/'
change "two session operations swapped" platform/sftpwrapper.h "$(swap setCipherList setMacList)"
change "a reserved place lost" platform/sftpwrapper.h '/reserved45/d'
change "two account fields swapped" platform/account.h "$(swap strHostKeyFormat strHostKey)"
change "two connection fields swapped" include/sftpclient.h "$(swap pSession pSessionCB)"
change "a result code renumbered" include/ftpresult.h 's/0x3bb00021/0x3bb00025/'
change "an adapter place lost" platform/cipher.h '/Reserved04/d'
echo "$caught of $caught changes noticed."
