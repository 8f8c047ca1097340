"""What is done, by whom, and what it should cost beside them."""

import dataclasses
import filecmp
import os
import pathlib
import shutil
from collections.abc import Callable

SMALL_FILES = 1000
SMALL_SIZE = 2048
SESSIONS = 8


@dataclasses.dataclass
class Peer:
    command: list
    environment: dict


@dataclasses.dataclass
class Work:
    name: str
    peers: dict
    ours: str
    mib: float = 0
    prepare: Callable = lambda: None
    check: Callable = lambda peer: None


@dataclasses.dataclass
class Goal:
    work: str
    peer: str
    ratio: float


GOALS = [
    Goal("login + close", "libcurl", 1.0),
    Goal("list 10000", "curl", 1.1),
    Goal("list 100000", "curl", 1.1),
    Goal("get 1000 x 2 KiB", "Poco", 1.0),
    Goal("get 1000 x 2 KiB", "libcurl", 0.8),
    Goal("get 1000 x 2 KiB", "lftp", 0.5),
    Goal("put 1000 x 2 KiB", "[!ob]*", 0.75),
    Goal("get large, 1 KiB", "libcurl, 1 KiB", 1.0),
    Goal("get large, 256 KiB", "libcurl", 0.85),
    Goal("get large, 256 KiB", "bare", 1.15),
    Goal("put large, 1 KiB", "libcurl", 0.8),
    Goal("put large, 256 KiB", "libcurl", 0.6),
]


def pattern(size, seed):
    """Bytes that depend on their position."""
    block = bytes((i * 131 + (i >> 8) * 17 + seed) & 0xFF for i in range(65521))
    whole, rest = divmod(size, len(block))
    return block * whole + block[:rest]


class Files:
    """The files that are moved, at the server and here."""

    def __init__(self, folder, server, mib):
        self.server_root = server.root
        self.here = folder / "here"
        self.target = folder / "target"
        for name in ("small", "large", "stored"):
            (self.server_root / name).mkdir()
            (self.here / name).mkdir(parents=True)
        self.target.mkdir()
        for n in range(SMALL_FILES):
            for base in (self.server_root, self.here):
                (base / "small" / f"f{n}").write_bytes(pattern(SMALL_SIZE, n))
        large = pattern(1 << 20, 7)
        for base in (self.server_root, self.here):
            with open(base / "large" / "f0", "wb") as file:
                for n in range(mib):
                    file.write(n.to_bytes(8, "big") + large[8:])
        for count in (10000, 100000):
            listed = self.server_root / f"list{count}"
            listed.mkdir()
            for n in range(count):
                os.close(os.open(listed / f"report-{n}.csv", os.O_CREAT | os.O_WRONLY, 0o644))
        server.own(self.server_root)

    def clear_target(self):
        shutil.rmtree(self.target)
        self.target.mkdir()

    def clear_stored(self):
        for path in (self.server_root / "stored").iterdir():
            path.unlink()

    def check_target(self, source, count):
        for n in range(count):
            if not filecmp.cmp(self.server_root / source / f"f{n}", self.target / f"f{n}", False):
                raise RuntimeError(f"{source}/f{n} did not arrive whole")

    def check_stored(self, source, count):
        for n in range(count):
            stored = self.server_root / "stored" / f"f{n}"
            if not filecmp.cmp(self.here / source / f"f{n}", stored, False):
                raise RuntimeError(f"{source}/f{n} was not stored whole")


def works(build, folder, server, mib):
    build = pathlib.Path(build).resolve()
    files = Files(folder, server, mib)
    common = dict(os.environ, BENCH_ADDRESS=server.address, BENCH_PORT=str(server.port),
                  BENCH_USER=server.user, BENCH_PASSWORD=server.password,
                  QELFTP_PASSWORD=server.password, QEL_LOG_LEVEL="off", LC_ALL="C.UTF-8",
                  HOME=str(folder))
    url = f"ftp://{server.user}@{server.address}:{server.port}"
    secret = f"ftp://{server.user}:{server.password}@{server.address}:{server.port}"

    def harness(name, *words, block=0):
        program = build / "bin" / f"bench_{name}"
        return Peer([str(program), *map(str, words)], dict(common, BENCH_BLOCK=str(block)))

    def harnesses(*words, block=0):
        named = {"ours": "ours", "libcurl": "curl", "Poco": "poco", "bare": "bare"}
        return {label: harness(name, *words, block=block) for label, name in named.items()
                if (build / "bin" / f"bench_{name}").exists()}

    def program(*command):
        return Peer([str(word) for word in command], common)

    def with_programs(peers, **commands):
        for name, command in commands.items():
            if shutil.which(command[0]) or pathlib.Path(command[0]).exists():
                peers[name] = program(*command)
        return peers

    qelftp = build / "bin" / "qelftp"

    yield Work("login + close", harnesses("login", 20), "ours")

    for count in (10000, 100000):
        yield Work(f"list {count}", with_programs(
            harnesses("list", f"list{count}"),
            qelftp=[qelftp, "ls", f"{url}/list{count}"],
            curl=["curl", "-sS", "--disable-epsv", f"{secret}/list{count}/"],
            lftp=["lftp", "-c", f"open {secret}; set ftp:prefer-epsv no; cls -l list{count}"]),
            "ours")

    small = [f"{secret}/small/f{n}" for n in range(SMALL_FILES)]
    listed = folder / "urls"
    listed.write_text("\n".join(small) + "\n")
    yield Work("get 1000 x 2 KiB", with_programs(
        harnesses("get", "small", SMALL_FILES, files.target),
        qelftp=[qelftp, "get", *(f"{url}/small/f{n}" for n in range(SMALL_FILES)), files.target],
        curl=["curl", "-sS", "--disable-epsv", "--output-dir", files.target,
              "--remote-name-all", *small],
        lftp=["lftp", "-c", f"open {secret}; set ftp:prefer-epsv no; mget -O {files.target} small/*"],
        wget=["wget", "-q", "-P", files.target, "-i", listed]),
        "ours", prepare=files.clear_target,
        check=lambda peer: files.check_target("small", SMALL_FILES))

    sources = [files.here / "small" / f"f{n}" for n in range(SMALL_FILES)]
    yield Work("put 1000 x 2 KiB", with_programs(
        harnesses("put", "stored", SMALL_FILES, files.here / "small"),
        qelftp=[qelftp, "put", *sources, f"{url}/stored/"],
        curl=["curl", "-sS", "--disable-epsv", "-T",
              "{" + ",".join(map(str, sources)) + "}", f"{secret}/stored/"],
        lftp=["lftp", "-c", f"open {secret}; set ftp:prefer-epsv no; "
              f"mput -O stored {files.here}/small/*"]),
        "ours", prepare=files.clear_stored,
        check=lambda peer: files.check_stored("small", SMALL_FILES))

    def large_peers(*words):
        return {"ours": harness("ours", *words), "libcurl, 1 KiB": harness("curl", *words, block=1024),
                "libcurl": harness("curl", *words), "Poco": harness("poco", *words),
                "bare": harness("bare", *words)}

    get = ("get", "large", 1, files.target)
    put = ("put", "stored", 1, files.here / "large")
    for name, block in (("1 KiB", 0), ("256 KiB", 262144)):
        peers = large_peers(*get)
        peers["ours"] = harness("ours", *get, block=block)
        peers["libcurl"] = harness("curl", *get, block=524288)
        if block:
            with_programs(peers,
                          qelftp=[qelftp, "get", f"{url}/large/f0", files.target],
                          curl=["curl", "-sS", "--disable-epsv", "-o", files.target / "f0",
                                f"{secret}/large/f0"],
                          lftp=["lftp", "-c", f"open {secret}; set ftp:prefer-epsv no; "
                                f"get -O {files.target} large/f0"],
                          wget=["wget", "-q", "-O", files.target / "f0", f"{secret}/large/f0"])
        yield Work(f"get large, {name}", peers, "ours", mib, files.clear_target,
                   lambda peer: files.check_target("large", 1))
    for name, block in (("1 KiB", 0), ("256 KiB", 262144)):
        peers = large_peers(*put)
        peers["ours"] = harness("ours", *put, block=block)
        peers["libcurl"] = harness("curl", *put, block=524288)
        if block:
            with_programs(peers,
                          qelftp=[qelftp, "put", files.here / "large" / "f0", f"{url}/stored/"],
                          curl=["curl", "-sS", "--disable-epsv", "-T", files.here / "large" / "f0",
                                f"{secret}/stored/"],
                          lftp=["lftp", "-c", f"open {secret}; set ftp:prefer-epsv no; "
                                f"put -O stored {files.here}/large/f0"])
        yield Work(f"put large, {name}", peers, "ours", mib, files.clear_stored,
                   lambda peer: files.check_stored("large", 1))

    one = harness("ours", "get", "small", SMALL_FILES, files.target)
    together = " & ".join(" ".join(one.command) for _ in range(SESSIONS)) + " & wait"
    yield Work(f"{SESSIONS} sessions at once, get 1000 x 2 KiB each",
               {"one session": one, "ours": Peer(["sh", "-c", together], one.environment)}, "ours",
               prepare=files.clear_target,
               check=lambda peer: files.check_target("small", SMALL_FILES))
