"""The results as text: tables, verdicts on the goals, and their place in docs/performance.md."""

import re

BEGIN, END = "<!-- measured: begin -->", "<!-- measured: end -->"


def works_of(rows):
    return list(dict.fromkeys(row["work"] for row in rows))


def number(value):
    if value >= 100:
        return f"{value:,.0f}"
    return f"{value:.1f}" if value >= 10 else f"{value:.2f}"


def table(rows, ours):
    """One work: a line a peer, as Markdown."""
    reference = next((row["median_s"] for row in rows
                      if row["peer"] == ours and "median_s" in row), None)
    first = rows[0]
    lines = [f"#### {first['title']} (`{first['work']}`)", "",
             f"| | median s | fastest to slowest | {ours} : this | CPU s | peak MiB | "
             f"system calls per {first['unit']} |", "|---|---|---|---|---|---|---|"]
    for row in rows:
        if row["failed"] is not None:
            reason = " ".join(row["failed"].split()).replace("|", "/")
            lines.append(f"| {row['peer']} | failed: {reason[:200]} | | | | | |")
            continue
        ratio = "" if reference is None else f"{reference / row['median_s']:.2f}"
        calls = number(row["calls"]["total"]) if row["calls"] else ""
        lines.append(f"| {row['peer']} | {row['median_s']:.3f} | {row['min_s']:.3f} to "
                     f"{row['max_s']:.3f} (of {row['runs']}) | {ratio} | {row['cpu_s']:.3f} | "
                     f"{row['peak_kib'] / 1024:.1f} | {calls} |")
    return "\n".join(lines)


def goals_table(verdicts):
    lines = ["| work | | goal | measured | |", "|---|---|---|---|---|"]
    for verdict in verdicts:
        value = "" if verdict.value is None else number(verdict.value)
        word = {None: "not measured", True: "met", False: "**not met**"}[verdict.met]
        lines.append(f"| {verdict.work} | {verdict.what} | {verdict.wanted} | {value} | {word} |")
    return "\n".join(lines)


def short_of(verdicts):
    return [f"{verdict.work}: {verdict.what} is {number(verdict.value)}, the goal is "
            f"{verdict.wanted}" for verdict in verdicts if verdict.met is False]


def report(about, rows, ours, verdicts):
    """All of it, without a heading. ours: by work, the peer that the ratios start from."""
    parts = ["\n".join(f"- {line}" for line in about),
             "### Goals", goals_table(verdicts), "### By work"]
    for work in works_of(rows):
        parts.append(table([row for row in rows if row["work"] == work], ours[work]))
    return "\n\n".join(parts) + "\n"


def micro_table(benchmarks):
    """What Google Benchmark tells of each by its name; nanoseconds, its default unit."""
    lines = ["### Parts by themselves (`qel_micro`)", "",
             "| | ns | lines a second | allocations a line |", "|---|---|---|---|"]
    for name, run in benchmarks.items():
        lines_a_second, allocations = (number(run[key]) if key in run else ""
                                       for key in ("lines/s", "allocations/line"))
        lines.append(f"| `{name}` | {number(run['real_time'])} | {lines_a_second} | "
                     f"{allocations} |")
    return "\n".join(lines)


def replaced(page, text):
    """The page with the text between the markers."""
    pattern = re.compile(re.escape(BEGIN) + r"\n.*?" + re.escape(END), re.DOTALL)
    if len(pattern.findall(page)) != 1:
        raise ValueError("the page has not exactly one place for the results")
    return pattern.sub(lambda _: f"{BEGIN}\n\n{text.strip()}\n\n{END}", page)
