"""What it should cost beside the peers, and whether it does. Pure: rows in, verdicts out."""

import dataclasses
import fnmatch


@dataclasses.dataclass
class Verdict:
    work: str
    what: str
    value: float | None  # None: not measured
    limit: float
    at_least: bool = False

    @property
    def met(self):
        if self.value is None:
            return None
        return self.value >= self.limit if self.at_least else self.value <= self.limit

    @property
    def wanted(self):
        limit = f"{self.limit:,.0f}" if self.limit >= 100 else f"{self.limit:g}"
        return f"{'at least' if self.at_least else 'at most'} {limit}"


class Rows:
    """The measured rows by work and peer; who failed is not among them."""

    def __init__(self, rows):
        self.by_work = {}
        for row in rows:
            if row["failed"] is None and "median_s" in row:
                self.by_work.setdefault(row["work"], {})[row["peer"]] = row

    def works(self):
        return list(self.by_work)

    def of(self, work):
        return self.by_work.get(work, {})

    def median(self, work, peer):
        row = self.of(work).get(peer)
        return row["median_s"] if row else None

    def fastest(self, work, peers):
        """Name of the fastest whose name or, as "@kind", whose kind is among the patterns."""
        fitting = [row for row in self.of(work).values()
                   if any(fnmatch.fnmatchcase(row["peer"], pattern) or pattern == "@" + row["kind"]
                          for pattern in peers)]
        return min(fitting, key=lambda row: row["median_s"])["peer"] if fitting else None


@dataclasses.dataclass
class Time:
    """Our time over that of the fastest of the peers."""
    work: str
    peers: tuple
    limit: float
    ours: str = "ours"
    shown: str = ""

    def judge(self, rows):
        shown = self.shown or " or ".join(peer.lstrip("@") for peer in self.peers)
        ours, peer = rows.median(self.work, self.ours), rows.fastest(self.work, self.peers)
        if ours is None or peer is None:
            return [Verdict(self.work, f"time of {self.ours} : {shown}", None, self.limit)]
        return [Verdict(self.work, f"time of {self.ours} : {peer}",
                        ours / rows.median(self.work, peer), self.limit)]


@dataclasses.dataclass
class Calls:
    """System calls a MiB."""
    work: str
    call: str
    limit: float
    ours: str = "ours"

    def judge(self, rows):
        row = rows.of(self.work).get(self.ours)
        what = "system calls a MiB" if self.call == "total" else f"{self.call} a MiB"
        if row is None or row.get("calls") is None:
            return [Verdict(self.work, what, None, self.limit)]
        return [Verdict(self.work, what, row["calls"].get(self.call, 0), self.limit)]


@dataclasses.dataclass
class Throughput:
    """Several sessions beside one with the same files."""
    work: str
    limit: float

    def judge(self, rows):
        one, several = rows.median(self.work, "ours, one session"), rows.median(self.work, "ours")
        value = one / several if one is not None and several is not None else None
        return [Verdict(self.work, "throughput beside one session", value, self.limit, True)]


@dataclasses.dataclass
class Memory:
    """Peak memory in every work: of the library beside libcurl, of qelftp beside each program."""
    limit: float = 1.0

    def judge(self, rows):
        verdicts = []
        for work in rows.works():
            for ours, others in (("ours", ("libcurl", "libcurl, ?*KiB")),
                                 ("qelftp", ("@program",))):
                verdicts += self.beside(rows.of(work), work, ours, others)
        return verdicts or [Verdict("every work", "peak memory", None, self.limit)]

    def beside(self, peers, work, ours, others):
        fitting = [row for row in peers.values()
                   if any(fnmatch.fnmatchcase(row["peer"], pattern) or pattern == "@" + row["kind"]
                          for pattern in others)]
        if ours not in peers or not fitting:
            return []
        least = min(fitting, key=lambda row: row["peak_kib"])
        return [Verdict(work, f"peak memory of {ours} : {least['peer']}",
                        peers[ours]["peak_kib"] / least["peak_kib"], self.limit)]


ANY_CURL = ("libcurl", "libcurl, *KiB")
PEERS = ("@library", "@program")

GOALS = [
    Calls("get-1k", "total", 3 * 1024),
    Calls("get-1k", "write", 4),
    Time("get-1k", ("libcurl, 1 KiB",), 1.0),
    Time("get-256k", ANY_CURL, 0.85, shown="libcurl"),
    Time("get-256k", ("floor",), 1.15),
    Time("put-1k", ANY_CURL, 0.8, shown="libcurl"),
    Time("put-256k", ANY_CURL, 0.6, shown="libcurl"),
    Time("get-small", ("Poco",), 1.0),
    Time("get-small", ("libcurl",), 0.8),
    Time("get-small", ("lftp",), 0.5),
    Time("put-small", PEERS, 0.75, shown="the fastest peer"),
    Time("list", ("curl", "libcurl"), 1.1),
    Time("list-long", ("curl", "libcurl"), 1.1),
    Time("login", ("libcurl",), 1.0),
    Throughput("parallel", 1.7),
    *(Time(f"{line}-{direction}-large", (peer,), 1.0, ours) for line in ("sftp", "far-sftp")
      for direction in ("get", "put") for ours in ("ours", "qelftp")
      for peer in ("OpenSSH sftp", "curl")),
    # What is left where the library's own rules decide: a change of directory before each file,
    # blocks of 1,024 bytes, a listing made into records; and where nobody is faster.
    Time("list", ("floor, records",), 1.1),
    Time("list-long", ("floor, records",), 1.1),
    Time("get-small", ("floor, same rules",), 1.1),
    Time("put-small", ("floor, same rules",), 1.1),
    Time("get-1k", ("floor, 1 KiB",), 1.1),
    Time("put-1k", ("floor, 1 KiB",), 1.1),
    Time("put-256k", ("floor",), 1.1),
    Memory(),
]

PARSER_GOAL = 3e6  # lines a second


def evaluate(rows, parser_lines_per_s=None, goals=None):
    """A verdict for every goal, in their order; those of memory for every work."""
    measured = Rows(rows)
    verdicts = [verdict for goal in (GOALS if goals is None else goals)
                for verdict in goal.judge(measured)]
    verdicts.append(Verdict("parser", "lines a second", parser_lines_per_s, PARSER_GOAL, True))
    return verdicts
