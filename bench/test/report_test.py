#!/usr/bin/env python3
"""Tables, verdicts, the place in docs/performance.md, and the chart."""

import pathlib
import sys
import unittest
import xml.etree.ElementTree

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent))
from chart import LONGEST, bar_chart  # noqa: E402
from goals import Verdict  # noqa: E402
from report import BEGIN, END, goals_table, micro_table, replaced, short_of, table  # noqa: E402

ROW = {"work": "get", "title": "get a file", "unit": "MiB", "failed": None, "runs": 7,
       "kind": "library", "min_s": 0.5, "max_s": 2.5, "cpu_s": 0.25, "peak_kib": 2048,
       "calls": {"total": 1028.4, "read": 4.0}}
ROWS = [ROW | {"peer": "ours", "kind": "ours", "median_s": 1.0},
        ROW | {"peer": "libcurl", "median_s": 2.0, "calls": None},
        {"work": "get", "title": "get a file", "unit": "MiB", "peer": "lftp", "kind": "program",
         "failed": "exit code 1:\nno | such file", "runs": 0}]


class Tables(unittest.TestCase):
    def test_a_line_a_peer(self):
        lines = table(ROWS, "ours").splitlines()[4:]
        self.assertEqual(lines, [
            "| ours | 1.000 | 0.500 to 2.500 (of 7) | 1.00 | 0.250 | 2.0 | 1,028 |",
            "| libcurl | 2.000 | 0.500 to 2.500 (of 7) | 0.50 | 0.250 | 2.0 |  |",
            "| lftp | failed: exit code 1: no / such file | | | | | |"])

    def test_no_ratios_without_us(self):
        self.assertIn("(of 7) |  | 0.250", table(ROWS[1:], "ours"))

    def test_goals(self):
        verdicts = [Verdict("get", "time", 0.5, 0.8), Verdict("get", "calls", 5000.0, 3072),
                    Verdict("put", "time", None, 1.0), Verdict("parser", "lines", 4e6, 3e6, True)]
        self.assertEqual(goals_table(verdicts).splitlines()[2:], [
            "| get | time | at most 0.8 | 0.50 | met |",
            "| get | calls | at most 3,072 | 5,000 | **not met** |",
            "| put | time | at most 1 |  | not measured |",
            "| parser | lines | at least 3,000,000 | 4,000,000 | met |"])
        self.assertEqual(short_of(verdicts), ["get: calls is 5,000, the goal is at most 3,072"])


    def test_a_line_a_micro_benchmark(self):
        lines = micro_table({"Parse": {"real_time": 1234567.8, "lines/s": 6e6,
                                       "allocations/line": 2.0}, "Join": {"real_time": 68.84}})
        self.assertEqual(lines.splitlines()[4:], [
            "| `Parse` | 1,234,568 | 6,000,000 | 2.00 |", "| `Join` | 68.8 |  |  |"])


class Page(unittest.TestCase):
    def test_replaces_what_is_between_the_markers_and_nothing_else(self):
        page = f"before\n{BEGIN}\nold\n\nolder\n{END}\nafter\n"
        once = replaced(page, "new \\1 text\n")
        self.assertEqual(once, f"before\n{BEGIN}\n\nnew \\1 text\n\n{END}\nafter\n")
        self.assertEqual(replaced(once, "new \\1 text\n"), once)

    def test_refuses_a_page_without_the_place(self):
        for page in ("nothing", f"{END}\n{BEGIN}\n", f"{BEGIN}\na\n{END}\n{BEGIN}\nb\n{END}\n"):
            with self.assertRaises(ValueError):
                replaced(page, "text")

    def test_the_page_has_its_place(self):
        page = pathlib.Path(__file__).resolve().parents[2] / "docs" / "performance.md"
        self.assertIn("\n\nresults\n\n", replaced(page.read_text(), "results"))


class Chart(unittest.TestCase):
    def bars(self, rows):
        root = xml.etree.ElementTree.fromstring(bar_chart(rows, {"get": "ours"}))
        return [float(bar.get("width")) for bar in root.iter("{http://www.w3.org/2000/svg}rect")
                if bar.get("x") == "240" and bar.get("y") not in ("13",)]

    def test_bars_are_as_long_as_the_times_beside_ours(self):
        ours, libcurl = self.bars(ROWS)
        self.assertAlmostEqual(libcurl / ours, 2.0)

    def test_a_bar_too_long_is_cut(self):
        rows = [ROWS[0], ROWS[1] | {"median_s": 1000.0, "peer": "<slow & steady>"}]
        self.assertEqual(self.bars(rows)[1], LONGEST)

    def test_without_us_there_is_nothing_to_draw(self):
        self.assertEqual(self.bars(ROWS[1:]), [])


if __name__ == "__main__":
    unittest.main()
