#!/usr/bin/env python3
"""The whole comparison with tiny works: real servers, every harness and program that is there.

compare_test.py BUILD [--sanitized]
"""

import json
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest
import xml.etree.ElementTree

build, sanitized = pathlib.Path(sys.argv[1]), sys.argv[2:] == ["--sanitized"]
bench = pathlib.Path(__file__).resolve().parent.parent
TINY = ["--runs", "1", "--mib", "1", "--small", "3", "--far-small", "2", "--entries", "20",
        "--counted-mib", "1"]
WORKS = ["login", "list", "put-small", "get-1k", "put-256k", "parallel", "far-get-small",
         "far-put-large", "sftp-put-large", "sftp-get-small", "far-sftp-put-small"]
# What is built in any case, and what only where its library or program is installed.
ALWAYS = {"list": {"ours", "floor", "qelftp"}, "sftp-get-small": {"ours", "qelftp"},
          "get-1k": {"ours", "floor, 1 KiB"}, "parallel": {"ours", "ours, one session"},
          "put-small": {"ours", "floor", "floor, same rules", "qelftp"}}
PERHAPS = {"libcurl": (build / "bin/bench_curl").exists(),
           "Poco": (build / "bin/bench_poco").exists(), "lftp": shutil.which("lftp"),
           "ncftp": shutil.which("ncftpls"), "curl": shutil.which("curl")}


def compare(out, *options):
    return subprocess.run(
        ["/usr/bin/python3", "-B", bench / "compare.py", "--build", build, "--out", out, "--quick",
         "--vsftpd", build / "tests/server/vsftpd", "--sshd", build / "tests/sftpserver/sshd",
         *TINY, *options],
        stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, timeout=280, check=False)


class Compare(unittest.TestCase):
    def setUp(self):
        holder = tempfile.TemporaryDirectory()
        self.addCleanup(holder.cleanup)
        self.out = pathlib.Path(holder.name)

    def test_every_kind_of_work_is_done_and_told(self):
        # strace and LeakSanitizer exclude each other.
        more = ["--no-strace"] if sanitized else []
        done = compare(self.out, *more, "--only", *WORKS)
        self.assertEqual(done.returncode, 0, done.stdout)
        data = json.loads((self.out / "results.json").read_text())
        rows = {(row["work"], row["peer"]): row for row in data["rows"]}
        self.assertEqual(list(dict.fromkeys(work for work, _ in rows)), WORKS)
        for key, row in rows.items():
            self.assertIsNone(row["failed"], key)
            self.assertEqual(row["runs"], 1, key)
            self.assertGreater(row["median_s"], 0, key)
            self.assertGreater(row["peak_kib"], 500, key)
        for work, peers in ALWAYS.items():
            self.assertLessEqual(peers, {peer for of, peer in rows if of == work}, work)
        for peer, there in PERHAPS.items():
            self.assertEqual(("list", peer) in rows, bool(there), peer)
        self.assert_counted(rows, not more)
        self.assert_written(data)
        missing = [peer for peer, there in PERHAPS.items() if not there]
        print("Peers:", ", ".join(sorted({peer for _, peer in rows})))
        print("Not installed, so not tried:", ", ".join(missing) or "none")

    def test_keeps_what_earlier_runs_measured_of_other_works(self):
        for only in (["login", "list"], ["put-small", "list"]):
            done = compare(self.out, "--no-strace", "--keep", "--only", *only)
            self.assertEqual(done.returncode, 0, done.stdout)
            data = json.loads((self.out / "results.json").read_text())
            data["machine"].append("what is told after the commit")
            (self.out / "results.json").write_text(json.dumps(data))
        rows = data["rows"]
        self.assertEqual(list(dict.fromkeys(row["work"] for row in rows)),
                         ["login", "list", "put-small"])
        self.assertEqual({row["work"] for row in rows if "run" in row}, {"login"})
        text = (self.out / "results.md").read_text()
        self.assertRegex(text, r"of an earlier run \(.*commit .*\): login\n")
        done = compare(self.out, "--no-strace", "--only", "login")
        self.assertNotIn("put-small", (self.out / "results.md").read_text().split("### By work")[1])

    def assert_counted(self, rows, may):
        calls = rows["get-1k", "floor, 1 KiB"]["calls"]
        if not may or shutil.which("strace") is None:
            self.assertIsNone(calls)
            print("System calls were not counted.")
            return
        # A difference of two runs, whose log-ins may wait a few calls more or less; and a receive
        # may give less than it could.
        self.assertGreater(calls["recvfrom"], 1000)
        self.assertLess(calls["recvfrom"], 1300)

    def assert_written(self, data):
        self.assertEqual({goal["work"] for goal in data["goals"] if goal["value"] is not None}
                         & {"login", "get-1k", "parallel"},
                         {"parallel"} | ({"login", "get-1k"} if PERHAPS["libcurl"] else set()))
        text = (self.out / "results.md").read_text()
        for expected in ("shows nothing about speed", "#### log in and close", "### Goals",
                         "not measured in this run: list-long"):
            self.assertIn(expected, text)
        xml.etree.ElementTree.parse(self.out / "results.svg")
        self.assertEqual((self.out / "results.png").exists(),
                         shutil.which("rsvg-convert") is not None)

    def test_an_unknown_work_is_refused(self):
        done = compare(self.out, "--only", "get-smal")
        self.assertEqual(done.returncode, 1, done.stdout)
        self.assertIn("no work is called get-smal; there are login, list,", done.stdout)

    def test_tiny_results_are_not_written_into_the_page(self):
        done = compare(self.out, "--write")
        self.assertEqual(done.returncode, 2, done.stdout)
        self.assertIn("shows nothing that should be written", done.stdout)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
