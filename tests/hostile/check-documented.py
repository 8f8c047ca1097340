#!/usr/bin/env python3
"""Checks that docs/security.md and the tests of hostile servers know each other.

    check-documented.py DOCUMENT PROGRAM...

Every test that the document names exists, and every test is named there; "*" stands for anything.
"""

import fnmatch
import os
import re
import subprocess
import sys


def tests_of(program):
    """Full names, as ctest has them."""
    listed = subprocess.run([program, "--gtest_list_tests"], check=True, capture_output=True,
                            text=True).stdout
    suite = ""
    for line in listed.splitlines():
        name = line.split("#")[0].strip()
        if line.startswith("  "):
            yield f"{os.path.basename(program)}.{suite}{name}"
        elif name.endswith("."):
            suite = name


def named_in(text):
    """Names in backquotes: "hostile_x.Suite.Test", "*.Suite.Test", ".Test" for another of the suite."""
    for name in re.findall(r"`((?:hostile_\w+|\*)\.[\w/.*]+|\.[A-Z]\w+)`", text):
        yield "*" + name if name.startswith(".") else name


def main():
    document, programs = sys.argv[1], sys.argv[2:]
    with open(document, encoding="utf-8") as file:
        patterns = sorted(set(named_in(file.read())))
    tests = [test for program in programs for test in tests_of(program)]
    if not patterns or not tests:
        sys.exit(f"{len(patterns)} names and {len(tests)} tests: something is wrong with this check")
    problems = [f"no such test: {pattern}" for pattern in patterns
                if not fnmatch.filter(tests, pattern)]
    problems += [f"not in the document: {test}" for test in tests
                 if not any(fnmatch.fnmatchcase(test, pattern) for pattern in patterns)]
    for problem in problems:
        print(problem)
    print(f"{len(patterns)} names for {len(tests)} tests")
    sys.exit(1 if problems else 0)


if __name__ == "__main__":
    main()
