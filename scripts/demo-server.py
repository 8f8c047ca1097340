#!/usr/bin/python3
"""The FTP server of demo.sh: demo-server.py ROOT PORT_FILE, password in DEMO_PASSWORD.

User "demo" has every right below ROOT. Listens on a free port of 127.0.0.1, whose number it writes
to PORT_FILE, until it is killed.
"""
import logging
import os
import sys

from pyftpdlib.authorizers import DummyAuthorizer
from pyftpdlib.handlers import FTPHandler
from pyftpdlib.servers import FTPServer

root, port_file = sys.argv[1:]
logging.basicConfig(level=logging.WARNING)
FTPHandler.authorizer = DummyAuthorizer()
FTPHandler.authorizer.add_user("demo", os.environ["DEMO_PASSWORD"], root, perm="elradfmwMT")
server = FTPServer(("127.0.0.1", 0), FTPHandler)
with open(port_file + ".new", "w", encoding="ascii") as out:
    out.write(str(server.socket.getsockname()[1]))
os.rename(port_file + ".new", port_file)
server.serve_forever()
