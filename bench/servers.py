"""What everything is measured against: a private vsftpd and sshd on loopback ports, and a relay
that makes them distant."""

import ctypes
import os
import pathlib
import pwd
import secrets
import shutil
import signal
import socket
import subprocess
import time

PROJECT = pathlib.Path(__file__).resolve().parent.parent
ADDRESS = "127.0.0.1"
PR_SET_PDEATHSIG = 1
LIBC = ctypes.CDLL(None)
LOWEST_PORT = 10000  # that a client is told to connect to

VSFTPD = """listen=YES
listen_ipv6=NO
background=NO
run_as_launching_user=YES
seccomp_sandbox=NO
isolate=NO
isolate_network=NO
local_enable=NO
anonymous_enable=YES
secure_email_list_enable=YES
write_enable=YES
anon_upload_enable=YES
anon_mkdir_write_enable=YES
anon_other_write_enable=YES
anon_world_readable_only=NO
anon_umask=022
delay_failed_login=0
pasv_enable=YES
xferlog_enable=NO
max_per_ip=0
"""

SSHD = """PidFile none
UsePAM no
StrictModes no
UseDNS no
MaxStartups 100
PasswordAuthentication no
KbdInteractiveAuthentication no
Subsystem sftp internal-sftp
"""


def other_user(name):
    """Who runs a server: another user when we are root, which a server would not serve, else we."""
    return pwd.getpwnam(name) if os.geteuid() == 0 else pwd.getpwuid(os.geteuid())


def with_us():
    """In a server's process before it starts: ends when we do."""
    LIBC.prctl(PR_SET_PDEATHSIG, signal.SIGKILL)


def free_port():
    with socket.socket() as probe:
        probe.bind((ADDRESS, 0))
        return probe.getsockname()[1]


def client_ports():
    """What clients connect from."""
    words = pathlib.Path("/proc/sys/net/ipv4/ip_local_port_range").read_text().split()
    return range(int(words[0]), int(words[1]) + 1)


def passive_ports():
    """For vsftpd. After a transfer that its client ends, the client's port stays taken for a minute,
    and of some ten thousand such transfers vsftpd finds no port free for one now and then."""
    clients = client_ports()
    below, above = range(LOWEST_PORT, clients.start), range(clients.stop, 65536)
    ports = max(below, above, key=len)
    return f"pasv_min_port={ports[0]}\npasv_max_port={ports[-1]}\n" if ports else ""


def give(path, user):
    """Makes a tree the user's."""
    if os.geteuid() != 0:
        return
    os.chown(path, user.pw_uid, user.pw_gid)
    for folder, names, files in os.walk(path):
        for name in names + files:
            os.chown(os.path.join(folder, name), user.pw_uid, user.pw_gid)


def fetch(folder, package, program):
    """The program of a Debian package, unpacked into the folder, unless it is there already."""
    subprocess.run([PROJECT / "scripts/fetch-package.sh", folder, package, "--", program],
                   check=True)


class Server:
    """A server program that is ready when it greets."""

    ATTEMPTS = 3  # a port that is free now may be taken a moment later

    def __init__(self, name, folder, greeting):
        self.name, self.home, self.greeting = name, folder / name, greeting
        self.address, self.port, self.process = ADDRESS, 0, None

    def start(self, command, user, environment):
        demote = {}
        if os.geteuid() == 0:
            demote = {"user": user.pw_uid, "group": user.pw_gid, "extra_groups": []}
        with open(self.home / "log", "ab") as log:
            self.process = subprocess.Popen(command, cwd=self.home, env=environment, stdout=log,
                                            stderr=log, stdin=subprocess.DEVNULL,
                                            preexec_fn=with_us, **demote)
        return self.greets()

    def greets(self):
        end = time.monotonic() + 10
        while time.monotonic() < end and self.process.poll() is None:
            try:
                with socket.create_connection((self.address, self.port), timeout=1) as probe:
                    if probe.recv(len(self.greeting)) == self.greeting:
                        return True
            except OSError:
                pass
            time.sleep(0.02)
        self.stop()
        return False

    def stop(self):
        if self.process is not None:
            self.process.kill()
            self.process.wait()
            self.process = None

    def __enter__(self):
        for _ in range(self.ATTEMPTS):
            self.port = free_port()
            if self.launch():
                return self
        log = (self.home / "log").read_text(errors="replace")
        raise RuntimeError(f"{self.name} does not start:\n{log}")

    def __exit__(self, *_):
        self.stop()


class Vsftpd(Server):
    """unpacked: where the program is, or is put; root: the login directory."""

    def __init__(self, unpacked, folder, root):
        super().__init__("vsftpd", folder, b"220")
        self.root, self.password = root, secrets.token_hex(8)
        self.user = "anonymous"
        self.runs_as = other_user("nobody")
        fetch(unpacked, "vsftpd", "/usr/sbin/vsftpd")
        shutil.copytree(unpacked, self.home)
        (self.home / "passwords").write_text(self.password + "\n")

    def launch(self):
        (self.home / "vsftpd.conf").write_text(
            VSFTPD + f"listen_address={self.address}\nlisten_port={self.port}\n"
            f"ftp_username={self.runs_as.pw_name}\nanon_root={self.root}\n"
            f"email_password_file={self.home}/passwords\n" + passive_ports())
        give(self.home, self.runs_as)
        return self.start(["./vsftpd", "vsftpd.conf"], self.runs_as,
                          {"LD_LIBRARY_PATH": str(self.home / "lib")})


class Sshd(Server):
    """unpacked: where the program is, or is put; root: the login directory."""

    def __init__(self, unpacked, folder, root):
        super().__init__("sshd", folder, b"SSH-")
        self.root = root
        # Not nobody, whom libnss-systemd calls locked.
        self.runs_as = other_user("games")
        self.user = self.runs_as.pw_name
        fetch(unpacked, "openssh-server", "/usr/sbin/sshd")
        shutil.copytree(unpacked, self.home)
        self.key = folder / "key"
        for path in (self.home / "host_key", self.key):
            subprocess.run(["ssh-keygen", "-q", "-t", "ed25519", "-N", "", "-C", "bench",
                            "-f", path], check=True)
        shutil.copy(f"{self.key}.pub", self.home / "authorized_keys")
        self.host_key = " ".join((self.home / "host_key.pub").read_text().split()[:2])

    def launch(self):
        (self.home / "config").write_text(
            SSHD + f"ListenAddress {self.address}:{self.port}\nHostKey {self.home}/host_key\n"
            f"AuthorizedKeysFile {self.home}/authorized_keys\n"
            f"ForceCommand internal-sftp -d {self.root}\n")
        give(self.home, self.runs_as)
        return self.start([self.home / "sshd", "-D", "-e", "-f", self.home / "config"],
                          self.runs_as, {"LD_LIBRARY_PATH": str(self.home / "lib")})


class Relay:
    """A line to a server on which a round trip takes so many milliseconds."""

    def __init__(self, program, server, milliseconds, ftp):
        words = [program, server.port, milliseconds] + (["ftp"] if ftp else [])
        self.process = subprocess.Popen([str(word) for word in words], stdin=subprocess.PIPE,
                                        stdout=subprocess.PIPE, text=True, preexec_fn=with_us)
        self.port = int(self.process.stdout.readline())

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.stdin.close()
        self.process.wait()
        self.process.stdout.close()
