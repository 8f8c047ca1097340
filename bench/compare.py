#!/usr/bin/env python3
"""Measures the library and its peers on the same work against one server, in one run.

usage: compare.py BUILD_DIR [--runs N] [--only PATTERN] [--out DIR] [--mib N]

Every piece of work is done by each peer in turn, A B C A B C ..., after one warm-up each that also
checks what arrived. Prints a Markdown table of medians, spread and ratios to ours, and writes
results.md, results.json and results.svg to DIR. Says what falls short of the goals; never fails on
a time.
"""

import argparse
import fnmatch
import json
import os
import pathlib
import re
import shutil
import statistics
import subprocess
import sys
import tempfile

sys.path.insert(0, str(pathlib.Path(__file__).parent))
from chart import bar_chart  # noqa: E402
from servers import Vsftpd  # noqa: E402
from work import GOALS, works  # noqa: E402


def timed(runner, command, environment):
    """Runs a command to its end: wall and processor seconds, peak memory in KiB."""
    reading, writing = os.pipe()
    done = subprocess.run([runner, str(writing), *command], env=environment,
                          stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                          stderr=subprocess.PIPE, pass_fds=[writing])
    os.close(writing)
    with os.fdopen(reading) as figures:
        line = figures.read()
    if done.returncode != 0:
        raise RuntimeError(f"{command} failed: {done.stderr.decode(errors='replace')[-500:]}")
    wall, cpu, peak = line.split()
    return {"wall": float(wall), "cpu": float(cpu), "peak": int(peak)}


def system_calls(command, environment):
    """How many system calls the command and its children make; None without strace."""
    if shutil.which("strace") is None:
        return None
    with tempfile.NamedTemporaryFile() as counts:
        subprocess.run(["strace", "-f", "-c", "-U", "calls,name", "-o", counts.name, *command],
                       env=environment, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                       check=True)
        lines = pathlib.Path(counts.name).read_text().splitlines()
    return next(int(line.split()[0]) for line in lines if line.split()[-1:] == ["total"])


def measure(runner, work, runs):
    peers = work.peers
    rows = {name: {"samples": []} for name in peers}
    for run in range(runs + 1):
        for name, peer in peers.items():
            work.prepare()
            sample = timed(runner, peer.command, peer.environment)
            if run == 0:
                work.check(name)
            else:
                rows[name]["samples"].append(sample)
    for name, peer in peers.items():
        work.prepare()
        rows[name]["calls"] = system_calls(peer.command, peer.environment)
    return rows


def summary(work, rows):
    ours = statistics.median(s["wall"] for s in rows[work.ours]["samples"])
    table = []
    for name, row in rows.items():
        walls = sorted(s["wall"] for s in row["samples"])
        median = statistics.median(walls)
        table.append({
            "work": work.name, "peer": name, "median_s": median, "min_s": walls[0],
            "max_s": walls[-1], "ours_to_peer": ours / median,
            "cpu_s": statistics.median(s["cpu"] for s in row["samples"]),
            "peak_kib": max(s["peak"] for s in row["samples"]),
            "calls": row["calls"],
            "calls_per_mib": row["calls"] / work.mib if work.mib and row["calls"] else None})
    return table


def markdown(results):
    lines = []
    for work in dict.fromkeys(row["work"] for row in results):
        lines += ["", f"### {work}", "",
                  "| | median s | min to max s | ours : this | CPU s | peak MiB | system calls | a MiB |",
                  "|---|---|---|---|---|---|---|---|"]
        for row in (r for r in results if r["work"] == work):
            calls = "" if row["calls"] is None else f"{row['calls']:,}"
            per_mib = "" if row["calls_per_mib"] is None else f"{row['calls_per_mib']:.0f}"
            lines.append(f"| {row['peer']} | {row['median_s']:.3f} | {row['min_s']:.3f} to "
                         f"{row['max_s']:.3f} | {row['ours_to_peer']:.2f} | {row['cpu_s']:.3f} | "
                         f"{row['peak_kib'] / 1024:.1f} | {calls} | {per_mib} |")
    return "\n".join(lines)


def shortfalls(results):
    found = []
    for goal in GOALS:
        for row in results:
            if fnmatch.fnmatch(row["work"], goal.work) and fnmatch.fnmatch(row["peer"], goal.peer):
                if row["ours_to_peer"] > goal.ratio:
                    found.append(f"{row['work']}: {row['ours_to_peer']:.2f} of {row['peer']}, "
                                 f"the goal is {goal.ratio}")
    return found


def machine():
    text = pathlib.Path("/proc/cpuinfo").read_text()
    model = re.search(r"model name\s*: (.*)", text)
    memory = re.search(r"MemTotal:\s*(\d+)", pathlib.Path("/proc/meminfo").read_text())
    return (f"{model.group(1) if model else 'unknown processor'}, {os.cpu_count()} cores, "
            f"{int(memory.group(1)) // 1048576} GiB, Linux {os.uname().release}, "
            f"loopback, files in memory; load before the run: {os.getloadavg()[0]:.1f}")


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("build", type=pathlib.Path)
    parser.add_argument("--runs", type=int, default=7)
    parser.add_argument("--only", default="*", help="names of works, with wildcards")
    parser.add_argument("--mib", type=int, default=1024, help="size of the large file")
    parser.add_argument("--out", type=pathlib.Path, default=None)
    arguments = parser.parse_args()

    header = f"Machine: {machine()}. {arguments.runs} counted runs each."
    print(header, flush=True)
    runner = arguments.build.resolve() / "bin" / "bench_run"
    results = []
    memory = "/dev/shm" if os.path.isdir("/dev/shm") else None
    with tempfile.TemporaryDirectory(dir=memory, prefix="qelbench-") as folder:
        os.chmod(folder, 0o755)
        with Vsftpd(arguments.build, pathlib.Path(folder)) as server:
            for work in works(arguments.build, pathlib.Path(folder), server, arguments.mib):
                if not fnmatch.fnmatch(work.name, arguments.only):
                    continue
                rows = measure(runner, work, arguments.runs)
                results += summary(work, rows)
                print(markdown(results[-len(rows):]), flush=True)

    missed = shortfalls(results)
    report = "\n".join(["# Side by side", "", header, markdown(results), "", "### Short of the goals",
                        "", *([f"- {line}" for line in missed] or ["None."]), ""])
    print("\nShort of the goals:", *(missed or ["none"]), sep="\n  ")
    if arguments.out:
        arguments.out.mkdir(parents=True, exist_ok=True)
        (arguments.out / "results.md").write_text(report)
        (arguments.out / "results.json").write_text(
            json.dumps({"machine": header, "results": results}, indent=1))
        (arguments.out / "results.svg").write_text(bar_chart(results))


if __name__ == "__main__":
    main()
