#!/usr/bin/env python3
"""The program shown in README.md is the one the tests build. check-readme.py ROOT"""
import pathlib
import re
import sys

root = pathlib.Path(sys.argv[1])
example = (root / "docs/examples/fetch.cpp").read_text()
shown = re.findall(r"```cpp\n(.*?)```", (root / "README.md").read_text(), re.DOTALL)
if shown != [example]:
    sys.exit("README.md does not show docs/examples/fetch.cpp as it is, or not once.")
print("README.md shows docs/examples/fetch.cpp.")
