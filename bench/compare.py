#!/usr/bin/env python3
"""Measures the library and its peers on the same work against the same server, in one run.

Every piece of work is done by each peer in turn, A B C A B C ..., after one warm-up each; what
arrived is compared with what was sent after each run. Prints a Markdown table a work, and at the
end which goals are met; writes results.md, results.json, results.svg and results.png. Slow is no
error: the exit code is 1 only when a program did not do its work.
"""

import argparse
import contextlib
import dataclasses
import datetime
import json
import os
import pathlib
import shutil
import signal
import statistics
import subprocess
import sys
import tempfile

sys.path.insert(0, str(pathlib.Path(__file__).parent))
import machine  # noqa: E402
import report  # noqa: E402
from chart import bar_chart  # noqa: E402
from clients import FtpClients, SftpClients  # noqa: E402
from goals import evaluate  # noqa: E402
from measure import calls_per_unit, interleaved, summary  # noqa: E402
from servers import PROJECT, Relay, Sshd, Vsftpd, give  # noqa: E402
from work import QUICK, ROUND_TRIP, Files, Sizes, Works, chosen  # noqa: E402

PRIMED_GIB = 6  # more than what is written at once
PAGE = PROJECT / "docs" / "performance.md"


def tell(text=""):
    print(text, flush=True)


def arguments():
    parser = argparse.ArgumentParser(prog="bench/compare.sh", description=__doc__.split("\n\n")[0])
    parser.add_argument("--build", type=pathlib.Path, default=PROJECT / "build/bench",
                        help="the build tree with the programs (build/bench)")
    parser.add_argument("--only", nargs="+", metavar="WORK", default=[],
                        help="works by name, with wildcards: 'far-*'")
    parser.add_argument("--list", action="store_true", help="name the works and end")
    parser.add_argument("--runs", type=int, help="counted runs (7)")
    parser.add_argument("--quick", action="store_true",
                        help="3 runs of tiny works: shows that all of it works, and nothing about "
                             "speed")
    parser.add_argument("--no-strace", action="store_true", help="do not count system calls")
    parser.add_argument("--out", type=pathlib.Path, help="where results go (BUILD/results)")
    parser.add_argument("--keep", action="store_true",
                        help="keep what earlier runs measured of other works; their results are in "
                             "the same folder")
    parser.add_argument("--write", action="store_true",
                        help="put the results into docs/performance.md as well")
    for field in dataclasses.fields(Sizes):
        parser.add_argument("--" + field.name.replace("_", "-"), type=int, help=argparse.SUPPRESS)
    for server in ("vsftpd", "sshd"):
        parser.add_argument("--" + server, type=pathlib.Path,
                            help=f"where {server} is, or is to be unpacked (BUILD/servers)")
    chosen_ones = parser.parse_args()
    if chosen_ones.write and chosen_ones.quick:
        parser.error("--quick shows nothing that should be written")
    if chosen_ones.runs is not None and chosen_ones.runs < 1:
        parser.error("--runs wants a number above 0")
    return chosen_ones


def sizes_of(options):
    given = {field.name: getattr(options, field.name) for field in dataclasses.fields(Sizes)
             if getattr(options, field.name) is not None}
    return dataclasses.replace(QUICK if options.quick else Sizes(), **given)


@contextlib.contextmanager
def scene(options, sizes):
    """Servers and files in memory; gives all works and the servers' versions."""
    build = options.build.resolve()
    memory = "/dev/shm" if os.path.isdir("/dev/shm") else None
    with contextlib.ExitStack() as stack:
        folder = pathlib.Path(stack.enter_context(
            tempfile.TemporaryDirectory(dir=memory, prefix="qelbench-")))
        os.chmod(folder, 0o755)
        files = Files(folder, sizes)
        vsftpd = Vsftpd(options.vsftpd or build / "servers/vsftpd", folder, files.root)
        give(files.root, vsftpd.runs_as)
        os.chmod(files.stored, 0o777)  # two servers with users of their own write there
        ftp = stack.enter_context(vsftpd)
        ssh = stack.enter_context(
            Sshd(options.sshd or build / "servers/sshd", folder, files.root))

        def over(server, milliseconds):
            relay = Relay(build / "bin/bench_relay", server, milliseconds, server is ftp)
            return stack.enter_context(relay).port

        def clients(kind, server, port):
            return kind(build / "bin", server, port, files, folder)

        works = Works(sizes, files, clients(FtpClients, ftp, ftp.port),
                      clients(FtpClients, ftp, over(ftp, ROUND_TRIP)),
                      clients(SftpClients, ssh, ssh.port),
                      clients(SftpClients, ssh, over(ssh, ROUND_TRIP)),
                      clients(FtpClients, ftp, over(ftp, 0)))
        scratch = folder / "scratch"
        scratch.mkdir()
        versions = [(server.home / "versions").read_text().strip() for server in (ftp, ssh)]
        yield works, scratch, versions


def measured(work, options, runs, scratch):
    """The rows of one work."""
    runner = options.build.resolve() / "bin/bench_run"
    samples, failed = interleaved(runner, work, scratch, runs, tell)
    calls = {}
    if not options.no_strace:
        # Under strace a slow one would be slower yet.
        work = dataclasses.replace(work, peers={name: peer for name, peer in work.peers.items()
                                                if name not in failed
                                                and len(samples[name]) == runs})
        calls = calls_per_unit(work, scratch, tell)
    return summary(work, samples, failed, calls)


def micro_benchmarks(program):
    """What qel_micro tells, by name; of some repetitions the median time."""
    done = subprocess.run([program, "--benchmark_format=json", "--benchmark_repetitions=5",
                           "--benchmark_min_time=0.1"],
                          stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, check=True)
    runs = {}
    for run in json.loads(done.stdout)["benchmarks"]:
        if run["run_type"] == "iteration":
            runs.setdefault(run["run_name"], []).append(run)
    return {name: sorted(some, key=lambda run: run["real_time"])[len(some) // 2]
            for name, some in runs.items()}


def duration(seconds):
    minutes = round(seconds / 60)
    return f"{minutes // 60} h {minutes % 60} min" if minutes >= 60 else f"{minutes} min"


def estimate(works, runs):
    """Seconds, from what each work took on a machine with two processors."""
    return sum(work.estimate * len(work.peers) * (runs + 1 + (3 if work.counted else 0))
               for work in works)


class Results:
    """What was measured so far, as it is written after every work: a run takes hours."""

    def __init__(self, options, sizes, runs, works, every):
        self.options, self.works, self.every = options, works, every
        self.folder = options.out or options.build / "results"
        self.ours = {work.name: work.ours for work in every}
        self.rows, self.about, self.micro = [], [], {}
        self.earlier = self.kept({work.name for work in works}) if options.keep else []
        self.settings = [
            f"{datetime.date.today()}; {runs} counted runs of each after a warm-up, by turns; "
            f"files in memory, small ones of 2 KiB, the large one of {sizes.mib:,} MiB"]
        if options.quick:
            self.settings.append("**tiny works (--quick): shows nothing about speed**")

    def kept(self, measured_now):
        """The rows of earlier runs, which say of which commit and day they are."""
        with contextlib.suppress(FileNotFoundError):
            data = json.loads((self.folder / "results.json").read_text())
            commit = next(line for line in data["machine"] if line.startswith("commit "))
            run = f"{data['settings'][0]}; {commit}"
            return [{"run": run} | row for row in data["rows"] if row["work"] not in measured_now]
        return []

    @property
    def all_rows(self):
        """In the order of the works, whichever run they are of."""
        order = [work.name for work in self.every]
        return sorted(self.earlier + self.rows, key=lambda row: order.index(row["work"]))

    @property
    def verdicts(self):
        parser = self.micro.get("ListingUnix")
        return evaluate(self.all_rows, parser["lines/s"] if parser else None)

    def text(self):
        done = report.works_of(self.all_rows)
        left_out = [work.name for work in self.every if work.name not in done]
        settings = list(self.settings)
        for run in dict.fromkeys(row["run"] for row in self.earlier):
            works = report.works_of(row for row in self.earlier if row["run"] == run)
            settings.append(f"of an earlier run ({run}): {', '.join(works)}")
        if left_out:
            settings.append(f"not measured in this run: {', '.join(left_out)}")
        text = report.report(self.about + settings, self.all_rows, self.ours, self.verdicts)
        return text + ("\n" + report.micro_table(self.micro) + "\n" if self.micro else "")

    def write(self):
        self.folder.mkdir(parents=True, exist_ok=True)
        (self.folder / "results.md").write_text("# Side by side\n\n" + self.text())
        data = {"machine": self.about, "settings": self.settings,
                "micro": self.micro, "rows": self.all_rows,
                "goals": [vars(verdict) | {"met": verdict.met} for verdict in self.verdicts]}
        (self.folder / "results.json").write_text(json.dumps(data, indent=1) + "\n")
        (self.folder / "results.svg").write_text(bar_chart(self.all_rows, self.ours))

    def draw(self):
        """The chart as PNG, where there is the program for it."""
        if shutil.which("rsvg-convert") is None:
            tell("No results.png: rsvg-convert (librsvg2-bin) is not installed.")
            return
        subprocess.run(["rsvg-convert", "-o", self.folder / "results.png",
                        self.folder / "results.svg"], check=True)

    def write_page(self):
        picture = "\n![Times beside ours](performance.svg)\n"
        PAGE.write_text(report.replaced(PAGE.read_text(), self.text() + picture))
        shutil.copy(self.folder / "results.svg", PAGE.with_name("performance.svg"))

    def failed(self):
        return [f"{row['peer']} in {row['work']}" for row in self.rows if row["failed"] is not None]


def busy_now(options):
    """The share that others take of the processors; None of tiny works, which show no times."""
    return None if options.quick else machine.busy_share()


def announce(results, works, runs, busy):
    tell("\n".join(results.about))
    if busy is not None and busy > machine.BUSY:
        tell(f"WARNING: others keep {busy:.0%} of the processors busy; times will show little.")
    tell(f"{len(works)} works, {runs} counted runs each: about "
         f"{duration(estimate(works, runs))} on two idle processors.")


def measure_all(options, sizes, runs):
    """Everything that was asked for; None when only the names were."""
    with scene(options, sizes) as (catalogue, scratch, servers):
        every = list(catalogue.all())
        if options.list:
            tell("\n".join(f"{work.name:20} {work.title}" for work in every))
            return None
        works = chosen(every, options.only)
        results = Results(options, sizes, runs, works, every)
        results.about = machine.description(PROJECT, servers)
        busy = busy_now(options)
        announce(results, works, runs, busy)
        if not options.quick:
            machine.prime(scratch, min(PRIMED_GIB, machine.memory_gib("MemAvailable") / 2))
        for work in works:
            rows = measured(work, options, runs, scratch)
            tell("\n" + report.table(rows, work.ours))
            results.rows += rows
            results.write()
    if busy is not None:
        results.about.append(f"taken by others: {busy:.0%} of the processors' time before the "
                             f"run, {busy_now(options):.0%} after it")
    micro = options.build / "bin/qel_micro"
    if micro.exists():
        results.micro = micro_benchmarks(micro)
    return results


def compare(options, sizes):
    results = measure_all(options, sizes, options.runs or (3 if options.quick else 7))
    if results is None:
        return 0
    results.write()
    results.draw()
    if options.write:
        results.write_page()
    short = report.short_of(results.verdicts) or ["none of those measured"]
    tell("\nShort of the goals:\n" + "\n".join("  " + line for line in short))
    tell(f"\nAll of it is in {results.folder}.")
    if results.failed():
        tell(f"Did not do their work: {', '.join(results.failed())}")
    return 1 if results.failed() else 0


def main():
    # Servers and files are taken away also when somebody ends the run.
    for number in (signal.SIGTERM, signal.SIGHUP):
        signal.signal(number, lambda *_: sys.exit(130))
    options = arguments()
    sizes = sizes_of(options)
    need = 4 * sizes.mib / 1024 + 0.5
    if machine.memory_gib("MemAvailable") < need:
        sys.exit(f"This wants {need:.1f} GiB of free memory.")
    try:
        return compare(options, sizes)
    except ValueError as error:
        sys.exit(str(error))


if __name__ == "__main__":
    sys.exit(main())
