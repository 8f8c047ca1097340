#!/usr/bin/env python3
"""What the servers of the comparison are told.

servers_test.py BUILD
"""

import ftplib
import pathlib
import sys
import tempfile
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent))
from servers import Vsftpd, client_ports  # noqa: E402

BUILD = pathlib.Path(sys.argv.pop(1)).resolve()


class VsftpdTest(unittest.TestCase):
    def test_listens_on_no_port_that_a_client_may_have_left_taken(self):
        with tempfile.TemporaryDirectory() as folder:
            home = pathlib.Path(folder)
            home.chmod(0o755)
            root = home / "root"
            root.mkdir()
            with (Vsftpd(BUILD / "tests/server/vsftpd", home, root) as server,
                  ftplib.FTP(timeout=10) as session):
                session.connect(server.address, server.port)
                session.login(server.user, server.password)
                ports = {session.makepasv()[1] for _ in range(100)}
        self.assertGreater(len(ports), 50)
        self.assertFalse(ports & set(client_ports()))


if __name__ == "__main__":
    unittest.main()
