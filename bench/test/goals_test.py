#!/usr/bin/env python3
"""The goals, judged by tables of made-up figures."""

import pathlib
import sys
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent))
import clients  # noqa: E402
from goals import (ANY_CURL, GOALS, PARSER_GOAL, PEERS, Calls, Memory, Throughput,  # noqa: E402
                   Time, evaluate)


def row(work, peer, median, kind="library", peak=1000, calls=None, failed=None):
    return {"work": work, "peer": peer, "kind": kind, "median_s": median, "peak_kib": peak,
            "calls": calls, "failed": failed}


def verdicts(goal, *rows):
    return [(v.what, v.value, v.met) for v in evaluate(rows, PARSER_GOAL, [goal])[:-1]]


class TimeGoals(unittest.TestCase):
    def test_is_met_up_to_its_limit(self):
        goal = Time("get", ("libcurl",), 0.8)
        for ours, met in ((0.7, True), (0.8, True), (0.81, False), (2.0, False)):
            self.assertEqual(verdicts(goal, row("get", "ours", ours), row("get", "libcurl", 1.0)),
                             [("time of ours : libcurl", ours, met)])

    def test_takes_the_fastest_of_several_peers(self):
        goal = Time("get", ANY_CURL, 1.0)
        self.assertEqual(
            verdicts(goal, row("get", "ours", 1.0), row("get", "libcurl", 4.0),
                     row("get", "libcurl, 512 KiB", 0.5), row("get", "Poco", 0.1)),
            [("time of ours : libcurl, 512 KiB", 2.0, False)])

    def test_takes_peers_by_kind_and_neither_the_floor_nor_our_own_program(self):
        goal = Time("put", PEERS, 0.75)
        self.assertEqual(
            verdicts(goal, row("put", "ours", 1.0, "ours"), row("put", "qelftp", 0.1, "ours"),
                     row("put", "floor", 0.1, "floor"), row("put", "ncftp", 2.0, "program"),
                     row("put", "Poco", 4.0)),
            [("time of ours : ncftp", 0.5, True)])

    def test_looks_at_its_own_work_only(self):
        goal = Time("get", ("libcurl",), 1.0)
        self.assertEqual(
            verdicts(goal, row("get", "ours", 2.0), row("get", "libcurl", 1.0),
                     row("far-get", "ours", 1.0), row("far-get", "libcurl", 9.0)),
            [("time of ours : libcurl", 2.0, False)])

    def test_is_not_measured_without_us_or_without_a_peer(self):
        goal = Time("get", ("libcurl",), 1.0)
        expected = [("time of ours : libcurl", None, None)]
        self.assertEqual(verdicts(goal, row("get", "ours", 1.0)), expected)
        self.assertEqual(verdicts(goal, row("get", "libcurl", 1.0)), expected)
        self.assertEqual(verdicts(goal), expected)

    def test_a_peer_that_failed_is_no_peer_however_quick(self):
        goal = Time("get", PEERS, 1.0, shown="the fastest peer")
        self.assertEqual(
            verdicts(goal, row("get", "ours", 1.0, "ours"),
                     row("get", "lftp", 0.01, "program", failed="exit code 1"),
                     row("get", "libcurl", 2.0)),
            [("time of ours : libcurl", 0.5, True)])
        self.assertEqual(verdicts(goal, row("get", "ours", 0.01, failed="exit code 1"),
                                  row("get", "libcurl", 2.0)),
                         [("time of ours : the fastest peer", None, None)])


class OtherGoals(unittest.TestCase):
    def test_counts_system_calls(self):
        rows = [row("get-1k", "ours", 1.0, calls={"total": 1028.0, "write": 4.0})]
        self.assertEqual(verdicts(Calls("get-1k", "total", 3072), *rows),
                         [("system calls a MiB", 1028.0, True)])
        self.assertEqual(verdicts(Calls("get-1k", "write", 3), *rows),
                         [("write a MiB", 4.0, False)])
        self.assertEqual(verdicts(Calls("get-1k", "fsync", 3), *rows), [("fsync a MiB", 0, True)])

    def test_calls_that_were_not_counted_meet_nothing(self):
        self.assertEqual(verdicts(Calls("get-1k", "total", 3072), row("get-1k", "ours", 1.0)),
                         [("system calls a MiB", None, None)])

    def test_several_sessions_must_be_so_many_times_as_fast(self):
        for together, met in ((1.0, True), (1.15, True), (1.2, False), (4.0, False)):
            found = verdicts(Throughput("parallel", 1.7), row("parallel", "ours", together),
                             row("parallel", "ours, one session", 2.0))
            self.assertEqual(found, [("throughput beside one session", 2.0 / together, met)])
        self.assertEqual(verdicts(Throughput("parallel", 1.7), row("parallel", "ours", 1.0)),
                         [("throughput beside one session", None, None)])

    def test_memory_of_like_beside_like_in_every_work(self):
        rows = [row("get", "ours", 1.0, "ours", 900), row("get", "libcurl", 1.0, peak=1000),
                row("get", "libcurl, 1 KiB", 1.0, peak=800), row("get", "Poco", 1.0, peak=10),
                row("put", "qelftp", 1.0, "ours", 500), row("put", "lftp", 1.0, "program", 1000),
                row("put", "wget", 1.0, "program", 600), row("put", "libcurl", 1.0, peak=10)]
        self.assertEqual(verdicts(Memory(), *rows),
                         [("peak memory of ours : libcurl, 1 KiB", 900 / 800, False),
                          ("peak memory of qelftp : wget", 500 / 600, True)])

    def test_the_parser_wants_lines_a_second(self):
        for speed, met in ((None, None), (2.9e6, False), (3e6, True), (8e6, True)):
            self.assertEqual(evaluate([], speed, [])[-1].met, met)


class Table(unittest.TestCase):
    def test_nothing_measured_meets_nothing(self):
        self.assertEqual({verdict.met for verdict in evaluate([])}, {None})

    def test_names_only_peers_that_there_are(self):
        known = set(clients.LIBRARIES) | set(clients.BEST_BUFFERS)
        known |= {"libcurl, 1 KiB", "floor, 1 KiB", "floor, same rules", "floor, records",
                  "qelftp", "curl", "lftp", "wget", "ncftp", "OpenSSH sftp", *PEERS, *ANY_CURL}
        for goal in GOALS:
            if isinstance(goal, Time):
                self.assertLessEqual({goal.ours, *goal.peers}, known, goal)


if __name__ == "__main__":
    unittest.main()
