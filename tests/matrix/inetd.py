#!/usr/bin/python3
"""inetd.py PORT PROGRAM ARGUMENT...: the program for each connection to 127.0.0.1:PORT, which is its
standard input and output. What it writes on standard error goes to this one's."""
import ctypes
import signal
import socket
import subprocess
import sys

PR_SET_PDEATHSIG = 1
libc = ctypes.CDLL(None)
signal.signal(signal.SIGCHLD, signal.SIG_IGN)  # nobody asks how a session ended
with socket.create_server(("127.0.0.1", int(sys.argv[1])), backlog=128) as listener:
    while True:
        connection, _ = listener.accept()
        with connection:
            subprocess.Popen(sys.argv[2:], stdin=connection, stdout=connection,
                             preexec_fn=lambda: libc.prctl(PR_SET_PDEATHSIG, signal.SIGKILL))
