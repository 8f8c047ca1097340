#!/usr/bin/python3
"""docs/servers.md from what the tests against the servers wrote.

document.py RESULTS DOCUMENT           compares; versions may differ
document.py --write RESULTS DOCUMENT   writes it
"""
import difflib
import json
import pathlib
import re
import sys

INTRO = """# Which servers it works with

Each operation of the library, of the SFTP sessions and of `qelftp`, against each of these servers, as the
tests in `tests/matrix/` ran it: **yes** when it did what its documentation says, else the number of
what is different there, which stands beneath with the reason. Nothing here is written by hand:

```sh
ctest --preset dev -R matrix
cmake --build --preset dev --target servers_document
```

runs everything and writes this page; without the second command the first one fails if the page says
anything else than the run. What is expected is in the tests: `tests/matrix/*operations.cpp` for all
servers, `tests/matrix/deviation.cpp` for the numbers.

The servers run on a loopback port, as an unprivileged user, with one account and a directory of its own
for each test; with their usual settings but for what that takes. Names "with blanks" and "in UTF-8" are
`{blank}` and `{utf8}`, "bytes of all values" have CR LF, bare CR and LF and 0xFF among them. **With
and without `bVerify`** stands for operations that ran twice, with `FtpTransferOptions::bVerify` and without
it; both did what the cell says.

## Servers

| package | version |
|---|---|
"""

DOS = """
The DOS style of listings is proftpd's own (`ListStyle Windows`). pyftpdlib has none: for "pyftpdlib, DOS" a
small subclass of its file system (`tests/matrix/pyftpdlib-server.py`) writes the lines as Windows
servers do. vsftpd, pure-ftpd, inetutils-ftpd and aioftp offer no other style than their own, which is
Unix's.
"""

GROUPS = ["Sessions", "Directories", "Listings", "Existence", "Retrieving", "Storing", "Removing",
          "SFTP sessions", "SFTP directories", "SFTP files", "SFTP transfers", "qelftp",
          "qelftp, what it refuses and what is refused"]


def read(folder):
    results = sorted((json.loads(path.read_text()) for path in folder.glob("*.json")),
                     key=lambda column: column["order"])
    if not results or len(results) != results[0]["columns"]:
        sys.exit(f"NOT RUN: {folder} has the results of {len(results)} servers and not of all. "
                 "Run the tests matrix_test.ServerMatrix.* first; those that fail to start write none.")
    return results


def cells_of(column):
    """By group and operation, the cells without and with bVerify."""
    rows = {}
    for cell in column["cells"]:
        rows.setdefault((cell["group"], cell["operation"]), []).append(cell)
    return rows


def table(columns, numbers):
    rows = {column["id"]: cells_of(column) for column in columns}
    first = rows[columns[0]["id"]]
    lines = ["| | " + " | ".join(column["title"] for column in columns) + " |",
             "|---|" + "---|" * len(columns)]
    unknown = {group for group, _ in first} - set(GROUPS)
    if unknown:
        sys.exit(f"document.py knows no place for {unknown}")
    for group in GROUPS:
        operations = [operation for of, operation in first if of == group]
        if operations:
            lines.append(f"| **{group}** |" + " |" * len(columns))
        for operation in operations:
            both = len(first[group, operation]) == 2
            title = operation + (", with and without `bVerify`" if both else "")
            lines.append(f"| {title} | " + " | ".join(
                text(rows[column["id"]][group, operation], numbers) for column in columns) + " |")
    return "\n".join(lines) + "\n"


def text(cells, numbers):
    if not all(cell["ok"] for cell in cells):
        return "**NO**"
    notes = sorted({numbers[cell["note"]] for cell in cells if cell["note"]})
    return ", ".join(f"[{number}](#note-{number})" for number in notes) or "yes"


def what_happens(column, note):
    """The outcomes, each with its operations."""
    outcomes = []
    for cell in column["cells"]:
        if cell["note"] == note and cell["operation"] not in outcomes:
            outcomes.append(cell["operation"])
    return outcomes


def render(results):
    notes = results[0]["notes"]
    numbers = {note["id"]: number for number, note in enumerate(notes, 1)}
    versions = sorted({version for column in results
                       for version in column["versions"].split(";") if version})
    page = INTRO.format(blank="with two blanks.bin", utf8="größe 漢字.bin")
    page += "".join("| `{}` | {} |\n".format(*version.split(" ", 1)) for version in versions)
    page += DOS
    page += "\n## ftp://\n\n"
    page += table([column for column in results if column["protocol"] == "ftp"], numbers)
    page += "\n## sftp://\n\n"
    page += table([column for column in results if column["protocol"] == "sftp"], numbers)
    page += "\n## What is different, and why\n\n"
    for note in notes:
        number = numbers[note["id"]]
        servers = [(column["title"], len(what_happens(column, note["id"]))) for column in results]
        where = ", ".join(f"{title} ({count})" for title, count in servers if count)
        page += f'<a id="note-{number}"></a>**{number}.** {where}. {note["text"]}\n\n'
    total = sum(len(column["cells"]) for column in results)
    different = sum(1 for column in results for cell in column["cells"] if cell["note"])
    page += (f"In brackets: of how many operations. {total} runs of operations in all, "
             f"{different} of them different from what is usual.\n")
    return page


def without_versions(page):
    return re.sub(r"^(\| `[a-z0-9.-]+` \|) .* \|$", r"\1", page, flags=re.MULTILINE)


def main():
    arguments = sys.argv[1:]
    write = arguments[:1] == ["--write"]
    folder, document = map(pathlib.Path, arguments[write:])
    page = render(read(folder))
    if write:
        document.write_text(page)
        return
    committed = document.read_text() if document.exists() else ""
    if without_versions(committed) != without_versions(page):
        sys.stdout.writelines(difflib.unified_diff(
            without_versions(committed).splitlines(True), without_versions(page).splitlines(True),
            "committed", "as it ran"))
        sys.exit(f"{document} says something else than the run. The target servers_document writes it.")
    print(f"{document} is as it ran.")


main()
