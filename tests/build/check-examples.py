#!/usr/bin/env python3
"""The programs shown in the docs are the ones the tests build. check-examples.py ROOT"""
import pathlib
import re
import sys

SHOWN = {
    "README.md": "docs/examples/fetch.cpp",
    "docs/sftp.md": "docs/examples/sftpfetch.cpp",
}

root = pathlib.Path(sys.argv[1])
wrong = []
for page, example in SHOWN.items():
    blocks = re.findall(r"```cpp\n(.*?)```", (root / page).read_text(), re.DOTALL)
    if blocks != [(root / example).read_text()]:
        wrong.append(f"{page} does not show {example} as it is, or not once, or something else.")
    else:
        print(f"{page} shows {example}.")
sys.exit("\n".join(wrong) or 0)
