"""The server that everything is measured against: a private vsftpd on a loopback port."""

import os
import pathlib
import pwd
import secrets
import shutil
import socket
import subprocess
import time

PROJECT = pathlib.Path(__file__).resolve().parent.parent
NOBODY = 65534

CONFIG = """listen=YES
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


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


class Vsftpd:
    def __init__(self, build, folder):
        self.address = "127.0.0.1"
        self.user = "anonymous"
        self.password = secrets.token_hex(8)
        self.home = folder / "server"
        self.root = folder / "root"
        self.process = None
        unpacked = pathlib.Path(build).resolve() / "bench-vsftpd"
        subprocess.run([PROJECT / "tests/server/fetch-vsftpd.sh", unpacked], check=True)
        shutil.copytree(unpacked, self.home)
        self.root.mkdir()

    def own(self, path):
        """Makes a tree the server's, which runs as nobody when we are root."""
        if os.geteuid() != 0:
            return
        os.chown(path, NOBODY, NOBODY)
        for folder, names, files in os.walk(path):
            for name in names + files:
                os.chown(os.path.join(folder, name), NOBODY, NOBODY)

    def __enter__(self):
        self.port = free_port()
        user = pwd.getpwuid(NOBODY if os.geteuid() == 0 else os.geteuid()).pw_name
        (self.home / "vsftpd.conf").write_text(
            CONFIG + f"listen_address={self.address}\nlisten_port={self.port}\n"
            f"ftp_username={user}\nanon_root={self.root}\n"
            f"email_password_file={self.home}/passwords\n")
        (self.home / "passwords").write_text(self.password + "\n")
        self.own(self.home)
        self.own(self.root)
        demote = {"user": NOBODY, "group": NOBODY, "extra_groups": []} if os.geteuid() == 0 else {}
        self.process = subprocess.Popen(
            ["./vsftpd", "vsftpd.conf"], cwd=self.home, stdin=subprocess.DEVNULL,
            env={"LD_LIBRARY_PATH": str(self.home / "lib")}, **demote)
        for _ in range(200):
            try:
                with socket.create_connection((self.address, self.port), timeout=1) as probe:
                    if probe.recv(3) == b"220":
                        return self
            except OSError:
                pass
            if self.process.poll() is not None:
                break
            time.sleep(0.05)
        self.__exit__(None, None, None)
        raise RuntimeError("vsftpd does not start")

    def __exit__(self, *_):
        self.process.terminate()
        self.process.wait()
