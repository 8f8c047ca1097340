"""How each peer is told to do a piece of work: its command line.

Every function gives a dictionary of peers by name. Files are DIR/f0 ... DIR/f(N-1) below the login
directory; what is fetched goes to one local directory, what is sent to "stored" at the server.
"""

import dataclasses
import os
import pathlib
import shutil
from collections.abc import Callable

from measure import Failure, tail

OURS, LIBRARY, PROGRAM, FLOOR = "ours", "library", "program", "floor"

LIBRARIES = {"ours": "bench_ours", "libcurl": "bench_curl", "Poco": "bench_poco",
             "floor": "bench_bare"}
KINDS = {"ours": OURS, "floor": FLOOR}
BEST_BUFFERS = {"libcurl, 256 KiB": 262144, "libcurl, 512 KiB": 524288}  # the latter is its largest


def kind_of(name):
    return KINDS.get(name.split(",")[0], LIBRARY)


@dataclasses.dataclass
class Peer:
    command: list
    environment: dict
    kind: str
    verify: Callable = lambda output: None  # of the file with its standard output


def prints(expected):
    """The harness's own count."""
    def verify(output):
        text = tail(output)
        if text != str(expected):
            raise Failure(f"printed {text!r} instead of {expected}")
    return verify


def shows_lines(expected):
    def verify(output):
        with open(output, "rb") as file:
            found = sum(1 for _ in file)
        if found != expected:
            raise Failure(f"showed {found} lines instead of {expected}")
    return verify


class Clients:
    """bin: where the harnesses are. port: of the server, or of the relay before it."""

    def __init__(self, binaries, server, port, files, home):
        self.bin, self.server, self.files = pathlib.Path(binaries), server, files
        self.address, self.port = server.address, port
        self.environment = {
            "PATH": os.environ["PATH"], "HOME": str(home), "LC_ALL": "C.UTF-8", "TERM": "dumb",
            "QEL_LOG_LEVEL": "off", "QEL_SERVER_PATH": str(self.bin.parent / "server"),
            "BENCH_ADDRESS": self.address, "BENCH_PORT": str(port), "BENCH_USER": server.user}

    def harness(self, name, program, words, count, **settings):
        return Peer([self.bin / program, *words], self.environment | settings, kind_of(name),
                    prints(count))

    def harnesses(self, words, count, **settings):
        return {name: self.harness(name, program, words, count, **settings)
                for name, program in LIBRARIES.items() if (self.bin / program).exists()}

    def with_programs(self, peers, programs, verify=lambda output: None):
        """Adds those that are installed."""
        for name, command in programs.items():
            if shutil.which(command[0]) is None:
                continue
            kind = OURS if name == "qelftp" else PROGRAM
            peers[name] = Peer(command, self.environment, kind, verify)
        return peers


class FtpClients(Clients):
    def __init__(self, binaries, server, port, files, home):
        super().__init__(binaries, server, port, files, home)
        self.environment |= {"BENCH_PASSWORD": server.password, "QELFTP_PASSWORD": server.password}
        self.url = f"ftp://{server.user}@{self.address}:{port}"
        self.secret = f"ftp://{server.user}:{server.password}@{self.address}:{port}"
        self.ncftp = ["-u", server.user, "-p", server.password, "-P", port]
        self.curl = ["curl", "-q", "-sS", "--fail-early", "--disable-epsv"]

    def lftp(self, command):
        # Failing is better than trying for ever; and it would go on in the background.
        settings = "set net:max-retries 2; set cmd:move-background no; set ftp:prefer-epsv no; "
        return ["lftp", "--norc", "-c", f"{settings}open {self.secret} && {command}"]

    def log_in(self, times):
        return self.harnesses(["login", times], times)

    def list(self, folder, count):
        words = ["list", folder]
        peers = self.harnesses(words, count)
        peers["floor, records"] = self.harness("floor", LIBRARIES["floor"], words, count,
                                               BENCH_SAME_RULES="1")
        return self.with_programs(
            peers,
            {"qelftp": [self.bin / "qelftp", "ls", f"{self.url}/{folder}"],
             "curl": [*self.curl, f"{self.secret}/{folder}/"],
             "lftp": self.lftp(f"ls {folder}"),  # cls asks for the time of each file
             "ncftp": ["ncftpls", *self.ncftp, "-l", f"ftp://{self.address}/{folder}/"]},
            shows_lines(count))

    def get_programs(self, folder, count):
        target = self.files.target
        one = count == 1
        remote = f"{folder}/f0" if one else f"{folder}/f*"
        return {
            "qelftp": [self.bin / "qelftp", "get", "--quiet",
                       *(f"{self.url}/{folder}/f{n}" for n in range(count)), target],
            "curl": [*self.curl, "-o", f"{target}/f#1", f"{self.secret}/{folder}/f[0-{count - 1}]"],
            "lftp": self.lftp(f"{'get' if one else 'mget'} -O {target} {remote}"),
            "wget": ["wget", "--no-config", "-q", "--tries=2", "-nd", "-P", target,
                     f"{self.secret}/{remote}"],
            "ncftp": ["ncftpget", "-V", *self.ncftp, self.address, target, remote]}

    def put_programs(self, folder, count):
        local = self.files.here / folder
        sources = [local / f"f{n}" for n in range(count)]
        return {
            "qelftp": [self.bin / "qelftp", "put", "--quiet", *sources, f"{self.url}/stored/"],
            "curl": [*self.curl, "-T", f"{local}/f[0-{count - 1}]", f"{self.secret}/stored/"],
            "lftp": self.lftp(f"mput -O stored {local}/f*"),
            "ncftp": ["ncftpput", "-V", *self.ncftp, self.address, "stored", *sources]}

    def words(self, direction, folder, count):
        if direction == "get":
            return ["get", folder, count, self.files.target]
        return ["put", "stored", count, self.files.here / folder]

    def programs(self, direction, folder, count):
        return (self.get_programs if direction == "get" else self.put_programs)(folder, count)

    def small(self, direction, folder, count):
        """A batch; with a floor also for the library's rules: a change of directory before each
        file, and blocks of 1,024 bytes."""
        words = self.words(direction, folder, count)
        peers = self.harnesses(words, count)
        peers["floor, same rules"] = self.harness("floor", LIBRARIES["floor"], words, count,
                                                  BENCH_SAME_RULES="1", BENCH_BLOCK="1024")
        return self.with_programs(peers, self.programs(direction, folder, count))

    def classic(self, direction, folder, count):
        """Blocks of 1,024 bytes. libcurl's buffer for sending has at least 16 KiB."""
        words = self.words(direction, folder, count)
        peers = {"ours": self.harness("ours", LIBRARIES["ours"], words, count)}
        buffers = {"libcurl, 1 KiB": 1024, "libcurl": 0} | BEST_BUFFERS
        self.add_curl(peers, words, count, buffers)
        peers["floor, 1 KiB"] = self.harness("floor", LIBRARIES["floor"], words, count,
                                             BENCH_BLOCK="1024")
        return peers

    def large(self, direction, folder, count):
        """Blocks of 256 KiB, or what each peer is best with; and the programs."""
        words = self.words(direction, folder, count)
        peers = self.harnesses(words, count)
        peers["ours"] = self.harness("ours", LIBRARIES["ours"], words, count,
                                     BENCH_BLOCK="262144")
        self.add_curl(peers, words, count, BEST_BUFFERS)
        if "Poco" in peers:
            peers["Poco, 256 KiB"] = self.harness("Poco", LIBRARIES["Poco"], words, count,
                                                  BENCH_BLOCK="262144")
        return self.with_programs(peers, self.programs(direction, folder, count))

    def large_best(self, direction, folder, count):
        """Of each library only what was best without the line's round trip."""
        peers = self.large(direction, folder, count)
        return {name: peer for name, peer in peers.items()
                if name not in ("libcurl", "libcurl, 256 KiB", "Poco")}

    def add_curl(self, peers, words, count, buffers):
        if (self.bin / LIBRARIES["libcurl"]).exists():
            for name, size in buffers.items():
                peers[name] = self.harness(name, LIBRARIES["libcurl"], words, count,
                                           BENCH_BLOCK=str(size))

    def floor(self, folder):
        words = self.words("get", folder, 1)
        return {"floor": self.harness("floor", LIBRARIES["floor"], words, 1)}

    def sessions(self, number, folder, count):
        """The same files, once in one session and once in several."""
        peers = {}
        for name, program in LIBRARIES.items():
            if not (self.bin / program).exists():
                continue
            for side_by_side in (number, 1):
                words = ["sessions", side_by_side, number, folder, count, self.files.target]
                label = name if side_by_side == number else f"{name}, one session"
                peers[label] = self.harness(name, program, words, number * count)
        return peers


class SftpClients(Clients):
    def __init__(self, binaries, server, port, files, home):
        super().__init__(binaries, server, port, files, home)
        self.home = home
        self.environment |= {"BENCH_PASSWORD": "", "BENCH_KEY": str(server.key),
                             "BENCH_HOST_KEY": server.host_key}
        self.url = f"sftp://{server.user}@{self.address}:{port}"
        (home / ".ssh").mkdir(exist_ok=True)
        self.known = home / ".ssh" / "known_hosts"
        with open(self.known, "a", encoding="ascii") as file:
            file.write(f"[{self.address}]:{port} {server.host_key}\n")

    def sftp(self, name, commands):
        batch = self.home / f"batch-{self.port}-{name}"
        batch.write_text(commands)
        return ["sftp", "-q", "-F", "none", "-b", batch, "-P", self.port, "-i", self.server.key,
                "-o", "IdentitiesOnly=yes", "-o", f"UserKnownHostsFile={self.known}",
                f"{self.server.user}@{self.address}"]

    def peers(self, direction, folder, count):
        target, local = self.files.target, self.files.here / folder
        qelftp = [self.bin / "qelftp", direction, "--quiet", "--identity", self.server.key,
                  "--known-hosts", self.known]
        curl = ["curl", "-q", "-sS", "--fail-early", "--user", f"{self.server.user}:",
                "--key", self.server.key, "--pubkey", f"{self.server.key}.pub"]
        url = f"sftp://{self.address}:{self.port}/~"  # the login directory
        span = f"f[0-{count - 1}]"
        if direction == "get":
            words = ["get", folder, count, target]
            sftp = f"get {folder}/f* {target}/\n"
            qelftp += [*(f"{self.url}/{folder}/f{n}" for n in range(count)), target]
            curl += ["-o", f"{target}/f#1", f"{url}/{folder}/{span}"]
        else:
            words = ["put", "stored", count, local]
            sftp = f"put {local}/f* stored/\n"
            qelftp += [*(local / f"f{n}" for n in range(count)), f"{self.url}/stored/"]
            curl += ["-T", f"{local}/{span}", f"{url}/stored/"]
        peers = {"ours": self.harness("ours", "bench_sftp", words, count)}
        return self.with_programs(peers, {
            "qelftp": qelftp, "OpenSSH sftp": self.sftp(f"{direction}-{folder}", sftp),
            "curl": curl})
