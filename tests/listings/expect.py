#!/usr/bin/python3
"""Writes NAME.expected beside each NAME.txt of this folder: what each listing line must give.

A second reading of the rules of the listing parser, kept apart from the parser on purpose: it
describes whole lines by regular expressions where the parser walks through columns. It is run by
hand, once after an input file was added or changed, and its output is read before it is committed:

    tests/listings/expect.py            # from anywhere; writes the .expected files
    git diff tests/listings             # every changed line is a claim about the parser

One output line for each input line:
    -                       the line gives no entry
    type|size|time|name     0 file, 1 directory, 2 symbolic link
    !type|size|time|name    an entry only for a reader who also takes unreadable ones
Times are as of TODAY, which decides the year of lines that show a time instead of one.
"""

import pathlib
import re

TODAY = (2026, 11, 21)
MONTHS = b"jan feb mar apr may jun jul aug sep oct nov dec".split()

WORD, GAP = rb"[^ \t]+", rb"[ \t]+"
FIRST = rb"(?![0-9])[^ \t]*"  # empty when the line begins with a gap


def columns(*parts):
    return re.compile(GAP.join(b"(" + part + b")" for part in parts), re.DOTALL)


# The last column of a full-width line takes what is left, so that names may hold blanks. A line
# that begins with a digit is full at four columns, any other at nine.
DATE_FIRST = columns(rb"[0-9][^ \t]*", WORD, WORD, rb"(?:[^ \t].*)?")
FOUR_WORDS = columns(FIRST, WORD, WORD, rb"[^ \t]*")
NINE_WORDS = columns(FIRST, *[WORD] * 7, rb"(?:[^ \t].*)?")


def number(text):
    """Text that is no number is 0; one that 32 bits do not hold is the nearest that they do."""
    match = re.match(rb"[ \t\n\v\f\r]*([+-]?[0-9]+)", text)
    return max(-(1 << 31), min((1 << 31) - 1, int(match.group(1)))) if match else 0


def month_of(text):
    name = text[:3].lower()
    return MONTHS.index(name) + 1 if name in MONTHS else 0


def clock(text):
    hour, _, minute = text.partition(b":")
    return number(hour), number(minute)


def date_text(first, second, third):
    has_time = b":" in third
    named = month_of(first)
    if named:
        year, month, day = 0 if has_time else number(third), named, number(second)
    elif has_time:
        year, month, day = 0, number(first), number(second)
    else:
        year, month, day = number(first), number(second), number(third)
    if year == 0:
        year = TODAY[0] - ((month, day) > TODAY[1:])
    text = b"%d-%02d-%02d" % (year, month, day)
    hour, minute = clock(third) if has_time else (0, 0)
    return text + b" %02d:%02d" % (hour, minute) if (hour, minute) != (0, 0) else text


def dos_entry(date, time, mark, name):
    if name in (b".", b".."):
        return b"-"
    if b"DIR" in mark:
        return b"1|0|%s %s|%s" % (date, time, name)
    return b"0|%s|%s %s|%s" % (mark, date, time, name)


def unix_entry(permissions, _links, _owner, _group, size, first, second, third, name):
    kind = {b"-": 0, b"d": 1, b"l": 2}.get(permissions[:1])
    if name in (b".", b"..") or kind is None:
        return b"-"
    readable = re.search(rb"[rw]", permissions[1:]) is not None
    if kind == 2:
        name = name.split(b" -> ", 1)[0]
    entry = b"%d|%s|%s|%s" % (kind, size, date_text(first, second, third), name)
    return entry if readable else b"!" + entry


def expected(line):
    line = line.split(b"\0", 1)[0]
    for form, reader in ((DATE_FIRST, dos_entry), (FOUR_WORDS, dos_entry),
                         (NINE_WORDS, unix_entry)):
        match = form.fullmatch(line)
        if match:
            return reader(*match.groups())
    return b"-"


def main():
    for source in sorted(pathlib.Path(__file__).parent.glob("*.txt")):
        lines = source.read_bytes().split(b"\n")[:-1]
        results = [expected(re.sub(rb"\r\Z", b"", line)) for line in lines]
        source.with_suffix(".expected").write_bytes(b"".join(r + b"\n" for r in results))


if __name__ == "__main__":
    main()
