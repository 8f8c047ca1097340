#!/usr/bin/python3
"""A real FTP server for one test: ftpserver.py ROOT LOG [RATE]

User bob, password "tea time", and anonymous, both with every right below ROOT. Listens on a free port
of 127.0.0.1 and prints it as its first line. LOG gets a line for each connection and each command.
RATE: bytes a second of a data connection; 0, as without it: no limit.
"""
import logging
import sys

from pyftpdlib.authorizers import DummyAuthorizer
from pyftpdlib.handlers import FTPHandler, ThrottledDTPHandler
from pyftpdlib.servers import FTPServer

ROOT, LOG, RATE = (sys.argv[1:] + ["0"])[:3]
RIGHTS = "elradfmwMT"


class Handler(FTPHandler):
    authorizer = DummyAuthorizer()
    auth_failed_timeout = 0  # a wrong password is answered at once

    @staticmethod
    def note(line):
        with open(LOG, "a", encoding="utf-8", errors="backslashreplace") as log:
            log.write(line + "\n")

    def on_connect(self):
        self.note("connected")

    def pre_process_command(self, line, cmd, arg):
        self.note(cmd if cmd == "PASS" else line)
        super().pre_process_command(line, cmd, arg)

    def ftp_OPTS(self, line):
        if line.upper() == "UTF8 ON":
            self.respond("200 It always is.")
        else:
            super().ftp_OPTS(line)


class Throttled(ThrottledDTPHandler):
    read_limit = write_limit = int(RATE)
    auto_sized_buffers = False


if int(RATE) > 0:
    Handler.dtp_handler = Throttled
logging.disable(logging.CRITICAL)
Handler.authorizer.add_user("bob", "tea time", ROOT, perm=RIGHTS)
Handler.authorizer.add_anonymous(ROOT, perm=RIGHTS, msg_login="in")
server = FTPServer(("127.0.0.1", 0), Handler)
print(server.socket.getsockname()[1], flush=True)
server.serve_forever(handle_exit=False)
