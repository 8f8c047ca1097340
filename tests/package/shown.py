#!/usr/bin/env python3
"""What the pages for people who link the library show, for the tests to build and run.

shown.py ROOT PAGE LANGUAGE   prints the one block of that language
shown.py ROOT --programs      each block of C++ of these pages is a piece of an example, and each
                              example that a page names is shown or linked
"""
import pathlib
import re
import sys

PAGES = ("docs/library.md", "docs/platform.md")
root = pathlib.Path(sys.argv[1])


def blocks(page, language):
    text = (root / page).read_text(encoding="utf-8")
    return re.findall(rf"^```{language}\n(.*?)^```$", text, re.DOTALL | re.MULTILINE)


def check_programs():
    examples = {path.name: path.read_text(encoding="utf-8") for path in (root / "docs/examples").glob("*.cpp")}
    wrong, pieces = [], 0
    for page in PAGES:
        for block in blocks(page, "cpp"):
            pieces += 1
            if not any(block in text for text in examples.values()):
                wrong.append(f"{page} shows what is in no example:\n{block}")
        for name in re.findall(r"\(examples/(\w+\.cpp)\)", (root / page).read_text(encoding="utf-8")):
            if name not in examples:
                wrong.append(f"{page} names {name}, which is not there.")
    print("\n".join(wrong) or f"{pieces} pieces of programs are those of the examples.")
    return 1 if wrong or pieces < len(PAGES) else 0


if sys.argv[2] == "--programs":
    sys.exit(check_programs())
found = blocks(sys.argv[2], sys.argv[3])
if len(found) != 1:
    sys.exit(f"{sys.argv[2]} has {len(found)} blocks of {sys.argv[3]}, not one.")
print(found[0], end="")
