"""Runs one program once, and says what it cost."""

import os
import pathlib
import shutil
import signal
import statistics
import subprocess

SLOW = 60  # seconds; who takes longer in a run that counts, and so much longer than ours, is done
SLOW_RATIO = 5


class Failure(Exception):
    """A program did not do its work."""


def tail(path, size=500):
    with open(path, "rb") as file:
        file.seek(0, os.SEEK_END)
        file.seek(max(0, file.tell() - size))
        return file.read().decode(errors="replace").strip()


def run(command, environment, scratch, limit, pass_fds=()):
    """Runs a command to its end, and nothing of it longer than the limit. Returns the exit code.

    Its output is afterwards in scratch/stdout and scratch/stderr.
    """
    with open(scratch / "stdout", "wb") as out, open(scratch / "stderr", "wb") as err:
        process = subprocess.Popen([str(word) for word in command], env=environment,
                                   stdin=subprocess.DEVNULL, stdout=out, stderr=err,
                                   start_new_session=True, pass_fds=pass_fds)
        try:
            return process.wait(limit)
        except subprocess.TimeoutExpired:
            raise Failure(f"did not end within {limit} s") from None
        finally:
            try:  # all that it started, also when it ended without them
                os.killpg(process.pid, signal.SIGKILL)
            except ProcessLookupError:
                pass
            process.wait()


def timed(runner, peer, scratch, limit):
    """Wall and processor seconds and peak memory in KiB of one run; Failure when it went wrong."""
    reading, writing = os.pipe()
    with os.fdopen(reading) as figures:
        try:
            code = run([runner, writing, *peer.command], peer.environment, scratch, limit,
                       (writing,))
        finally:
            os.close(writing)
        line = figures.read()
    if code != 0:
        raise Failure(f"exit code {code}: {tail(scratch / 'stderr') or tail(scratch / 'stdout')}")
    wall, cpu, peak = line.split()
    return {"wall": float(wall), "cpu": float(cpu), "peak": int(peak)}


def counts(text):
    """The table of strace -c -U calls,name, as a dictionary; "total" is one of its keys."""
    table = {}
    for line in text.splitlines():
        words = line.split()
        if len(words) == 2 and words[0].isdigit():
            table[words[1]] = int(words[0])
    if "total" not in table:
        raise Failure("strace counted nothing")
    return table


def system_calls(peer, scratch, limit):
    """How many system calls the peer and its children make, by name; None without strace."""
    if shutil.which("strace") is None:
        return None
    table = scratch / "strace"
    code = run(["strace", "-f", "-c", "-U", "calls,name", "-o", table, *peer.command],
               peer.environment, scratch, limit)
    if code != 0:
        raise Failure(f"under strace: exit code {code}: {tail(scratch / 'stderr')}")
    return counts(pathlib.Path(table).read_text())


def is_slow(seconds, ours):
    return seconds > SLOW and seconds > SLOW_RATIO * ours


def interleaved(runner, work, scratch, runs, tell):
    """All peers by turns, A B C A B C ..., after a warm-up each: samples and failures by name."""
    samples = {name: [] for name in work.peers}
    failed, slow = {}, set()
    ours = 0.0
    for turn in range(runs + 1):
        for name, peer in work.peers.items():
            if name in failed or name in slow:
                continue
            try:
                work.prepare()
                work.freshen()
                sample = timed(runner, peer, scratch, work.limit)
                peer.verify(scratch / "stdout")
            except Failure as failure:
                failed[name] = str(failure)
                tell(f"{work.name}: {name} FAILED: {failure}")
                continue
            if name == work.ours:
                ours = sample["wall"]
            if turn == 0:
                continue
            samples[name].append(sample)
            if is_slow(sample["wall"], ours):
                slow.add(name)
    return samples, failed


def calls_per_unit(work, scratch, tell):
    """System calls a unit of the work, by peer and name of the call.

    A work that is large has two of another size to count by: their difference is free of what
    starting and logging in costs, and strace need not follow a million blocks.
    """
    table = {}
    for name in work.peers if work.counted is not None else ():
        counted, units = [], []
        try:
            for part in work.counted:
                work.prepare()
                counted.append(system_calls(part.peers[name], scratch, work.limit))
                units.append(part.units)
        except Failure as failure:
            tell(f"{work.name}: system calls of {name} not counted: {failure}")
            continue
        if counted[0] is None:
            continue
        less, less_units = (counted[0], units[0]) if len(counted) == 2 else ({}, 0)
        table[name] = {call: (number - less.get(call, 0)) / (units[-1] - less_units)
                       for call, number in counted[-1].items()}
    return table


def summary(work, samples, failed, calls):
    """One row a peer, as it goes into the JSON."""
    rows = []
    for name, peer in work.peers.items():
        row = {"work": work.name, "title": work.title, "peer": name, "kind": peer.kind,
               "unit": work.unit, "failed": failed.get(name), "runs": len(samples[name])}
        if name not in failed and samples[name]:
            walls = sorted(sample["wall"] for sample in samples[name])
            row |= {"median_s": statistics.median(walls), "min_s": walls[0], "max_s": walls[-1],
                    "samples_s": [sample["wall"] for sample in samples[name]],
                    "cpu_s": statistics.median(s["cpu"] for s in samples[name]),
                    "peak_kib": max(s["peak"] for s in samples[name]),
                    "calls": calls.get(name)}
        rows.append(row)
    return rows
