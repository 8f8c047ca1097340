"""What is done: the files that are moved, and the pieces of work with their peers."""

import dataclasses
import fnmatch
import os
import shutil
from collections.abc import Callable

from clients import Peer
from machine import prime
from measure import Failure

SMALL_SIZE = 2048
SESSIONS = 8
LOG_INS = 20
ROUND_TRIP = 20  # milliseconds


@dataclasses.dataclass
class Sizes:
    mib: int = 1024        # the large file
    small: int = 1000      # small files
    far_small: int = 20    # small files over the long line: each costs several round trips
    entries: int = 10000   # of the listing; the long one has ten times as many
    counted_mib: int = 64  # more of the larger of the two files to count system calls by


QUICK = Sizes(mib=8, small=20, far_small=5, entries=500, counted_mib=4)


@dataclasses.dataclass
class Part:
    """A size of a work: its peers, and how many units of it they do."""
    peers: dict
    units: float


@dataclasses.dataclass
class Work:
    name: str
    title: str
    peers: dict[str, Peer]
    unit: str
    estimate: float  # seconds of one run of one peer on two idle cores, checking included
    ours: str = "ours"
    prepare: Callable = lambda: None
    freshen: Callable = lambda: None  # before a run that is timed
    counted: list[Part] | None = None
    limit: float = 120  # seconds; who takes longer has failed


def pattern(size, seed):
    """Bytes that depend on their position."""
    block = bytes((i * 131 + (i >> 8) * 17 + seed) & 0xFF for i in range(65521))
    whole, rest = divmod(size, len(block))
    return block * whole + block[:rest]


def same(expected, found):
    """Whether two files are equal, byte by byte."""
    try:
        with open(expected, "rb", buffering=0) as one, open(found, "rb", buffering=0) as other:
            while True:
                a, b = one.read(1 << 20), other.read(1 << 20)
                if a != b:
                    return False
                if not a:
                    return True
    except FileNotFoundError:
        return False


def expect_files(expected, found, count):
    """FOUND holds f0 ... f(count-1) as in EXPECTED and nothing else; else Failure."""
    names = {f"f{n}" for n in range(count)}
    there = set(os.listdir(found))
    if there != names:
        missing, more = sorted(names - there), sorted(there - names)
        raise Failure(f"{len(missing)} of {count} files did not arrive {missing[:3]}, "
                      f"{len(more)} should not be there {more[:3]}")
    for name in names:
        if not same(expected / name, found / name):
            raise Failure(f"{name} arrived with other bytes, "
                          f"{(found / name).stat().st_size} of them")


class Files:
    """The files at the server and here."""

    def __init__(self, folder, sizes):
        self.mib = sizes.mib
        self.root, self.here, self.target = folder / "root", folder / "here", folder / "target"
        self.stored = self.root / "stored"
        for path in (self.root, self.here, self.target, self.stored):
            path.mkdir()
        self.batch("small", sizes.small, SMALL_SIZE)
        self.batch("far", sizes.far_small, SMALL_SIZE)
        self.batch("large", 1, sizes.mib << 20)
        self.batch("count-less", 1, 1 << 20)
        self.batch("count-more", 1, (1 + sizes.counted_mib) << 20)
        self.listing("list", sizes.entries)
        self.listing("long", sizes.entries * 10)

    def batch(self, name, count, size):
        """The same files on both sides; only read, so that one in memory does."""
        (self.root / name).mkdir()
        (self.here / name).mkdir()
        block = pattern(min(size, 1 << 20), 7)
        for n in range(count):
            with open(self.root / name / f"f{n}", "wb") as file:
                for start in range(0, size, 1 << 20):
                    file.write((n + start).to_bytes(8, "big") + block[8:])
            os.link(self.root / name / f"f{n}", self.here / name / f"f{n}")

    def listing(self, name, count):
        (self.root / name).mkdir()
        for n in range(count):
            path = self.root / name / f"report-{n}.csv"
            os.close(os.open(path, os.O_CREAT | os.O_WRONLY, 0o644))

    def clear(self):
        shutil.rmtree(self.target)
        self.target.mkdir()
        for path in self.stored.iterdir():
            path.unlink()

    def clear_for_sessions(self):
        self.clear()
        for n in range(SESSIONS):
            (self.target / str(n)).mkdir()

    def freshen(self):
        """Touches as much memory as a large file takes: some hosts take back what a machine does
        not use, and the next to write would have to wait for it."""
        prime(self.target, self.mib / 1024)

    def checked(self, peers, direction, folder, count):
        """The peers, whose files are looked at after each run."""
        found = self.target if direction == "get" else self.stored

        def verify(before):
            def both(output):
                before(output)
                expect_files(self.here / folder, found, count)
            return both
        return {name: dataclasses.replace(peer, verify=verify(peer.verify))
                for name, peer in peers.items()}

    def checked_sessions(self, peers, folder, count):
        def verify(before):
            def all_copies(output):
                before(output)
                for n in range(SESSIONS):
                    expect_files(self.here / folder, self.target / str(n), count)
            return all_copies
        return {name: dataclasses.replace(peer, verify=verify(peer.verify))
                for name, peer in peers.items()}


class Works:
    """All works, with the clients of each server, near and far."""

    def __init__(self, sizes, files, ftp, far_ftp, sftp, far_sftp, relayed):
        self.sizes, self.files = sizes, files
        self.ftp, self.far_ftp, self.sftp, self.far_sftp = ftp, far_ftp, sftp, far_sftp
        self.relayed = relayed  # over the relay without a delay

    def moved(self, clients_of, direction, folder, count):
        return self.files.checked(clients_of(direction, folder, count), direction, folder, count)

    def log_in(self, name, clients, times, estimate, over=""):
        peers = clients.log_in(times)
        return Work(name, f"log in and close, {times} times{over}", peers, "log-in", estimate,
                    counted=[Part(peers, times)])

    def listing(self, name, clients, folder, count, estimate, over=""):
        peers = clients.list(folder, count)
        return Work(name, f"list {count:,} entries{over}", peers, "entry", estimate,
                    counted=[Part(peers, count)])

    def batch(self, name, title, clients_of, direction, folder, count, estimate, counted=True):
        peers = self.moved(clients_of, direction, folder, count)
        return Work(name, title, peers, "file", estimate, prepare=self.files.clear, limit=60,
                    counted=[Part(peers, count)] if counted else None)

    def one(self, name, title, clients_of, direction, estimate, counted=True):
        peers = self.moved(clients_of, direction, "large", 1)
        parts = None
        if counted:
            parts = [Part(self.moved(clients_of, direction, folder, 1), mib) for folder, mib in
                     (("count-less", 1), ("count-more", 1 + self.sizes.counted_mib))]
        return Work(name, f"{title} {self.size}", peers, "MiB", estimate * self.sizes.mib / 1024,
                    prepare=self.files.clear, freshen=self.files.freshen, counted=parts,
                    limit=1200)

    @property
    def size(self):
        mib = self.sizes.mib
        return f"{mib // 1024} GiB" if mib % 1024 == 0 else f"{mib} MiB"

    def near(self):
        sizes, ftp = self.sizes, self.ftp
        small = f"{sizes.small:,} × 2 KiB"
        yield self.log_in("login", ftp, LOG_INS, 0.3)
        yield self.listing("list", ftp, "list", sizes.entries, sizes.entries * 3e-5)
        yield self.listing("list-long", ftp, "long", sizes.entries * 10, sizes.entries * 3e-4)
        for direction in ("get", "put"):
            yield self.batch(f"{direction}-small", f"{direction} {small}", ftp.small, direction,
                             "small", sizes.small, sizes.small * 1e-3)
        for direction in ("get", "put"):
            yield self.one(f"{direction}-1k", f"{direction}, blocks of 1,024 bytes,", ftp.classic,
                           direction, 4)
        for direction in ("get", "put"):
            yield self.one(f"{direction}-256k", f"{direction}, blocks of 256 KiB,", ftp.large,
                           direction, 2)
        peers = ftp.sessions(SESSIONS, "small", sizes.small)
        yield Work("parallel", f"get {SESSIONS} × {small}, {SESSIONS} sessions or one",
                   self.files.checked_sessions(peers, "small", sizes.small), "file",
                   SESSIONS * sizes.small * 5e-4, prepare=self.files.clear_for_sessions, limit=300)

    def far(self):
        sizes, ftp = self.sizes, self.far_ftp
        over, count = f", {ROUND_TRIP} ms", sizes.far_small
        yield self.log_in("far-login", ftp, 3, 0.6, over)
        yield self.listing("far-list", ftp, "list", sizes.entries, 0.5, over)
        for direction in ("get", "put"):
            yield self.batch(f"far-{direction}-small", f"{direction} {count:,} × 2 KiB{over}",
                             ftp.small, direction, "far", count, count * 0.1, counted=False)
        for direction in ("get", "put"):
            yield self.one(f"far-{direction}-large", f"{direction}{over}, blocks of 256 KiB,",
                           ftp.large_best, direction, 4, counted=False)
        peers = self.files.checked(ftp.floor("large") | self.relay_floors(), "get", "large", 1)
        yield Work("relay", f"what the relay lets through: the floor fetches {self.size}", peers,
                   "MiB", 3 * sizes.mib / 1024, "floor", self.files.clear, self.files.freshen)

    def relay_floors(self):
        return {"floor, relay without delay": self.relayed.floor("large")["floor"],
                "floor, no relay": self.ftp.floor("large")["floor"]}

    def by_sftp(self):
        sizes = self.sizes
        for clients, prefix, over, count, folder, estimate in (
                (self.sftp, "sftp", "", sizes.small, "small", sizes.small * 2e-3),
                (self.far_sftp, "far-sftp", f", {ROUND_TRIP} ms", sizes.far_small, "far",
                 sizes.far_small * 0.1)):
            near = clients is self.sftp
            for direction in ("get", "put"):
                yield self.one(f"{prefix}-{direction}-large", f"sftp {direction}{over},",
                               clients.peers, direction, 6 if near else 30, counted=near)
            for direction in ("get", "put"):
                yield self.batch(f"{prefix}-{direction}-small",
                                 f"sftp {direction} {count:,} × 2 KiB{over}", clients.peers,
                                 direction, folder, count, estimate, counted=near)

    def all(self):
        yield from self.near()
        yield from self.far()
        yield from self.by_sftp()


def chosen(works, patterns):
    """The works that a pattern names; ValueError when one names none."""
    works = list(works)
    for wanted in patterns:
        if not any(fnmatch.fnmatch(work.name, wanted) for work in works):
            raise ValueError(f"no work is called {wanted}; there are "
                             + ", ".join(work.name for work in works))
    return [work for work in works
            if not patterns or any(fnmatch.fnmatch(work.name, wanted) for wanted in patterns)]
