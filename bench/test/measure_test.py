#!/usr/bin/env python3
"""What is measured, and that a program which did not do its work is found out.

measure_test.py BENCH_RUN
"""

import dataclasses
import os
import pathlib
import sys
import tempfile
import time
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent))
import measure  # noqa: E402
from clients import LIBRARY, Peer, prints, shows_lines  # noqa: E402
from measure import Failure, counts, interleaved, is_slow, summary, timed  # noqa: E402
from work import Part, Work, chosen, expect_files, pattern, same  # noqa: E402

RUNNER = pathlib.Path(sys.argv.pop(1)).resolve()


def shell(script, verify=lambda output: None):
    return Peer(["sh", "-c", script], dict(os.environ), LIBRARY, verify)


class Scratch(unittest.TestCase):
    def setUp(self):
        holder = tempfile.TemporaryDirectory()
        self.addCleanup(holder.cleanup)
        self.scratch = pathlib.Path(holder.name)

    def timed(self, script, limit=60):
        return timed(RUNNER, shell(script), self.scratch, limit)

    def failure(self, script, limit=60):
        with self.assertRaises(Failure) as caught:
            self.timed(script, limit)
        return str(caught.exception)


class Timed(Scratch):
    def test_tells_wall_and_processor_seconds(self):
        asleep = self.timed("sleep 0.3")
        self.assertGreaterEqual(asleep["wall"], 0.3)
        self.assertLess(asleep["cpu"], 0.2)
        # A child's processor time counts, too.
        busy = self.timed("sh -c 'n=0; while [ $n -lt 100000 ]; do n=$((n+1)); done'; true")
        self.assertGreater(busy["cpu"], asleep["cpu"])

    def test_tells_peak_memory_of_the_program_and_not_ours(self):
        ours = bytearray(64 << 20)
        small = self.timed("true")["peak"]
        large = self.timed(f"{sys.executable} -c 'b = bytearray(48 << 20)'; true")["peak"]
        self.assertLess(small, 16 << 10)
        self.assertGreater(large, 48 << 10)
        self.assertEqual(len(ours), 64 << 20)

    def test_adds_the_peak_memory_of_processes_that_live_side_by_side(self):
        holds = f"{sys.executable} -c 'import time; b = bytearray(48 << 20); time.sleep(1)'"
        self.assertGreater(self.timed(f"{holds} & {holds}; wait")["peak"], 96 << 10)
        self.assertLess(self.timed(f"{holds}; {holds}; true")["peak"], 96 << 10)

    def test_an_exit_code_is_a_failure_with_the_programs_words(self):
        self.assertEqual(self.failure("echo no luck >&2; exit 3"), "exit code 3: no luck")

    def test_a_program_that_is_not_there_is_a_failure(self):
        self.assertIn("exit code 127", self.failure("exec /nowhere/program"))

    def test_a_program_that_hangs_is_ended_with_its_children(self):
        start = time.monotonic()
        self.assertEqual(self.failure(f"sleep 77 & echo $! >{self.scratch}/pid; sleep 78", 3),
                         "did not end within 3 s")
        self.assertLess(time.monotonic() - start, 30)
        child = int((self.scratch / "pid").read_text())
        end = time.monotonic() + 10
        while time.monotonic() < end and is_running(child):
            time.sleep(0.01)
        self.assertFalse(is_running(child))


def is_running(pid):
    try:
        state = pathlib.Path(f"/proc/{pid}/stat").read_text().rsplit(")", 1)[1].split()[0]
    except FileNotFoundError:
        return False
    return state != "Z"  # whoever is the parent now may take its time to collect it


class Interleaved(Scratch):
    def work(self, **peers):
        return Work("w", "some work", peers, "file", 0, ours=next(iter(peers)), limit=20)

    def test_takes_turns_after_a_warm_up(self):
        log = self.scratch / "log"
        work = self.work(a=shell(f"echo a >>{log}"), b=shell(f"echo b >>{log}"))
        prepared = []
        work = dataclasses.replace(work, prepare=lambda: prepared.append(1))
        samples, failed = interleaved(RUNNER, work, self.scratch, 3, self.fail)
        self.assertEqual(log.read_text().split(), ["a", "b"] * 4)
        self.assertEqual((failed, {name: len(all_of) for name, all_of in samples.items()}),
                         ({}, {"a": 3, "b": 3}))
        self.assertEqual(len(prepared), 8)
        rows = summary(work, samples, failed, {"a": {"total": 3}})
        self.assertEqual([(row["peer"], row["runs"], row["calls"]) for row in rows],
                         [("a", 3, {"total": 3}), ("b", 3, None)])

    def test_who_did_not_do_the_work_is_told_and_not_run_again(self):
        log, told = self.scratch / "log", []
        work = self.work(good=shell("echo 5", prints(5)),
                         quick=shell(f"echo x >>{log}; echo 4", prints(5)), hangs=shell("sleep 76"))
        work = dataclasses.replace(work, limit=3)
        samples, failed = interleaved(RUNNER, work, self.scratch, 2, told.append)
        self.assertEqual(failed, {"quick": "printed '4' instead of 5",
                                  "hangs": "did not end within 3 s"})
        self.assertEqual(log.read_text(), "x\n")
        self.assertEqual(len(samples["good"]), 2)
        self.assertEqual(len(told), 2)
        rows = summary(work, samples, failed, {})
        self.assertEqual([(row["failed"] is None, "median_s" in row) for row in rows],
                         [(True, True), (False, False), (False, False)])

    def test_who_fails_in_a_later_run_has_failed(self):
        first = self.scratch / "first"
        work = self.work(a=shell(f"[ ! -e {first} ] && touch {first}"))
        _, failed = interleaved(RUNNER, work, self.scratch, 2, lambda text: None)
        self.assertIn("exit code 1", failed["a"])

    def test_only_who_is_slow_and_much_slower_than_ours_is_slow(self):
        self.assertFalse(is_slow(59, 0.1))
        self.assertFalse(is_slow(100, 50))
        self.assertTrue(is_slow(400, 50))

    def test_who_is_slow_is_counted_once_and_done(self):
        kept, measure.SLOW = measure.SLOW, 0.3
        self.addCleanup(setattr, measure, "SLOW", kept)
        log = self.scratch / "log"
        in_its_third_run = f"[ $(grep -c y {log}) -ne 3 ] || sleep 0.5"
        work = self.work(ours=shell("true"), slow=shell(f"echo x >>{log}; sleep 0.5"),
                         at_times=shell(f"echo y >>{log}; {in_its_third_run}"))
        samples, failed = interleaved(RUNNER, work, self.scratch, 4, self.fail)
        self.assertEqual({name: len(all_of) for name, all_of in samples.items()},
                         {"ours": 4, "slow": 1, "at_times": 2})
        self.assertEqual(failed, {})
        self.assertEqual(sorted(log.read_text().split()), ["x"] * 2 + ["y"] * 3)

    def test_freshens_after_preparing_each_time(self):
        log = []
        work = dataclasses.replace(self.work(a=shell("true")), prepare=lambda: log.append("p"),
                                   freshen=lambda: log.append("f"))
        interleaved(RUNNER, work, self.scratch, 2, self.fail)
        self.assertEqual(log, ["p", "f"] * 3)


class Calls(Scratch):
    def test_reads_the_table_of_strace(self):
        text = "calls syscall\n----- ------\n   12 read\n    3 write\n----- ------\n   15 total\n"
        self.assertEqual(counts(text), {"read": 12, "write": 3, "total": 15})
        with self.assertRaises(Failure):
            counts("strace: cannot\n")

    def counted_by(self, function):
        self.addCleanup(setattr, measure, "system_calls", measure.system_calls)
        measure.system_calls = function

    def test_who_fails_under_strace_is_told_and_the_others_are_counted(self):
        def fake(peer, scratch, limit):
            if peer is None:
                raise Failure("exit code 1")
            return peer
        self.counted_by(fake)
        told = []
        work = Work("w", "t", {"a": None, "b": None}, "file", 0,
                    counted=[Part({"a": None, "b": {"total": 8}}, 4)])
        self.assertEqual(measure.calls_per_unit(work, None, told.append), {"b": {"total": 2}})
        self.assertEqual(told, ["w: system calls of a not counted: exit code 1"])

    def test_counts_the_difference_of_two_sizes(self):
        def fake(peer, scratch, limit):
            return peer
        self.counted_by(fake)
        small, large = {"read": 10, "total": 110}, {"read": 50, "write": 8, "total": 158}
        work = Work("w", "t", {"a": None}, "MiB", 0, counted=[Part({"a": large}, 4)])
        self.assertEqual(measure.calls_per_unit(work, None, self.fail),
                         {"a": {"read": 12.5, "write": 2, "total": 39.5}})
        work = dataclasses.replace(work, counted=[Part({"a": small}, 1), Part({"a": large}, 5)])
        self.assertEqual(measure.calls_per_unit(work, None, self.fail),
                         {"a": {"read": 10, "write": 2, "total": 12}})


class Verifying(Scratch):
    def setUp(self):
        super().setUp()
        for side in ("sent", "found"):
            (self.scratch / side).mkdir()
            for n in range(2):
                (self.scratch / side / f"f{n}").write_bytes(pattern(3000000, n))

    def why(self):
        with self.assertRaises(Failure) as caught:
            expect_files(self.scratch / "sent", self.scratch / "found", 2)
        return str(caught.exception)

    def test_is_content_with_the_same_files(self):
        expect_files(self.scratch / "sent", self.scratch / "found", 2)

    def test_finds_a_missing_file(self):
        (self.scratch / "found" / "f1").unlink()
        self.assertIn("1 of 2 files did not arrive", self.why())

    def test_finds_a_file_too_many(self):
        (self.scratch / "found" / "f1.part").touch()
        self.assertIn("1 should not be there", self.why())

    def test_finds_a_short_file(self):
        os.truncate(self.scratch / "found" / "f1", 2999999)
        self.assertIn("f1 arrived with other bytes", self.why())

    def test_finds_a_swapped_block(self):
        data = bytearray(pattern(3000000, 0))
        data[1024:2048], data[2048:3072] = data[2048:3072], data[1024:2048]
        (self.scratch / "found" / "f0").write_bytes(data)
        self.assertIn("f0 arrived with other bytes", self.why())

    def test_a_file_that_is_not_there_is_not_the_same(self):
        self.assertFalse(same(self.scratch / "sent" / "f0", self.scratch / "nothing"))

    def test_counts_lines(self):
        listing = self.scratch / "listing"
        listing.write_text("a\nb\n")
        shows_lines(2)(listing)
        with self.assertRaises(Failure):
            shows_lines(3)(listing)


class Choosing(unittest.TestCase):
    def test_by_name_and_wildcard(self):
        works = [Work(name, "", {}, "", 0) for name in ("list", "far-list", "far-get")]

        def names(*patterns):
            return [work.name for work in chosen(works, patterns)]
        self.assertEqual(names(), ["list", "far-list", "far-get"])
        self.assertEqual(names("far-*"), ["far-list", "far-get"])
        self.assertEqual(names("far-get", "list"), ["list", "far-get"])
        with self.assertRaises(ValueError):
            names("list", "far-pup")


if __name__ == "__main__":
    unittest.main()
