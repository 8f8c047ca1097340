#!/usr/bin/env python3
"""Includes run one way only: tools -> include <- src -> platform <- standalone.

check-includes.py ROOT      exits with 1 and names each include that runs another way
check-includes.py --self    shows that the rules catch a violation of each kind
"""
import pathlib
import re
import sys

PASSWORD_HOLDER = "src/support/autopassword.h"
ALLOWED = {  # folder: what it may include of this project
    "include": ("include/", "platform/"),
    "platform": ("platform/", PASSWORD_HOLDER),
    "src": ("src/", "include/", "platform/"),
    "standalone": ("standalone/", "platform/", PASSWORD_HOLDER),
    "tools": ("tools/", "include/", "platform/"),
}
INCLUDE = re.compile(r'^\s*#\s*include\s*"([^"]+)"')


def violations(folder, name, text):
    allowed = ALLOWED[folder]
    if name == PASSWORD_HOLDER:
        allowed = ("platform/",)
    for number, line in enumerate(text.splitlines(), 1):
        match = INCLUDE.match(line)
        if match and not match.group(1).startswith(allowed):
            yield f"{name}:{number}: may not include {match.group(1)}"


def check(root):
    found, files = [], 0
    for folder in ALLOWED:
        for path in sorted((root / folder).rglob("*")):
            if path.suffix in (".h", ".cpp"):
                files += 1
                found += violations(folder, path.relative_to(root).as_posix(), path.read_text())
    print("\n".join(found) or f"{files} files include one way only.")
    return 1 if found or files < 20 else 0


def self_test():
    bad = [
        ("include", "include/ftpclient.h", "src/ftp/ftpcommand.h"),
        ("platform", "platform/cipher.h", "include/ftpclient.h"),
        ("src", "src/ftp/a.cpp", "standalone/logging.h"),
        ("src", PASSWORD_HOLDER, "src/support/log.h"),
        ("standalone", "standalone/a.cpp", "src/ftp/ftpcommand.h"),
        ("tools", "tools/a.cpp", "src/ftp/ftpcommand.h"),
        ("tools", "tools/a.cpp", "a.h"),
    ]
    missed = [row for row in bad if not list(violations(row[0], row[1], f'#include "{row[2]}"\n'))]
    print(f"{len(bad) - len(missed)} of {len(bad)} violations caught")
    return 1 if missed else 0


sys.exit(self_test() if sys.argv[1] == "--self" else check(pathlib.Path(sys.argv[1])))
