#!/usr/bin/python3
"""pyftpdlib-server.py PORT ROOT USER PASSWORD unix|dos: a pyftpdlib server on 127.0.0.1, as it comes.
With "dos" its listings are as those of a Windows server."""
import logging
import os
import sys
import time

from pyftpdlib.authorizers import DummyAuthorizer
from pyftpdlib.filesystems import AbstractedFS
from pyftpdlib.handlers import FTPHandler
from pyftpdlib.servers import FTPServer

PORT, ROOT, USER, PASSWORD, STYLE = sys.argv[1:]


class DosFilesystem(AbstractedFS):
    def format_list(self, basedir, listing, ignore_err=True):
        for name in listing:
            path = os.path.join(basedir, name)
            if not os.path.exists(path):
                continue
            when = time.strftime("%m-%d-%y  %I:%M%p", time.gmtime(os.path.getmtime(path)))
            size = "<DIR>         " if os.path.isdir(path) else os.path.getsize(path)
            yield f"{when}{size:>21} {name}\r\n".encode("utf8", self.cmd_channel.unicode_errors)


class Handler(FTPHandler):
    authorizer = DummyAuthorizer()
    auth_failed_timeout = 0  # a wrong password is answered at once
    abstracted_fs = DosFilesystem if STYLE == "dos" else AbstractedFS


Handler.authorizer.add_user(USER, PASSWORD, ROOT, perm="elradfmwMT")
logging.basicConfig(level=logging.DEBUG)
FTPServer(("127.0.0.1", int(PORT)), Handler).serve_forever(handle_exit=False)
