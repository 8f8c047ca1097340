#!/usr/bin/env python3
"""The relay keeps every byte back, and lets through what it is given. relay_test.py BENCH_RELAY"""

import pathlib
import socket
import sys
import threading
import time
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent))
from servers import ADDRESS, Relay  # noqa: E402
from work import pattern  # noqa: E402

PROGRAM = pathlib.Path(sys.argv.pop(1)).resolve()
ROUND_TRIP = 40  # milliseconds
PIECE = 65536


class Answering:
    """A server that does the same with each of its connections."""

    def __init__(self, answer):
        self.listener = socket.create_server((ADDRESS, 0))
        self.port = self.listener.getsockname()[1]
        self.answer = answer
        threading.Thread(target=self.serve, daemon=True).start()

    def serve(self):
        while True:
            try:
                connection, _ = self.listener.accept()
            except OSError:
                return
            with connection:
                self.answer(connection)


def read_to_end(connection):
    pieces = []
    while piece := connection.recv(1 << 20):
        pieces.append(piece)
    return b"".join(pieces)


class RelayTest(unittest.TestCase):
    def through(self, answer, *words):
        server = Answering(answer)
        self.addCleanup(server.listener.close)
        relay = Relay(PROGRAM, server, ROUND_TRIP, bool(words))
        self.addCleanup(relay.__exit__)
        connection = socket.create_connection((ADDRESS, relay.port), timeout=60)
        self.addCleanup(connection.close)
        return connection

    def test_each_exchange_takes_a_round_trip(self):
        def echo(connection):
            while piece := connection.recv(100):
                connection.sendall(piece)
        connection = self.through(echo)
        start = time.monotonic()
        for n in range(5):
            connection.sendall(b"%d" % n)
            self.assertEqual(connection.recv(100), b"%d" % n)
        self.assertGreaterEqual(time.monotonic() - start, 5 * ROUND_TRIP / 1000)

    def test_a_stream_comes_whole_and_pays_for_one_round_trip_not_for_each_piece(self):
        data = pattern(64 << 20, 3)
        connection = self.through(lambda server: server.sendall(data))
        start = time.monotonic()
        received = read_to_end(connection)
        seconds = time.monotonic() - start
        self.assertTrue(received == data, f"{len(received)} of {len(data)} bytes, or others")
        self.assertGreaterEqual(seconds, ROUND_TRIP / 2 / 1000)
        self.assertLess(seconds, len(data) / PIECE * ROUND_TRIP / 2 / 1000)

    def test_the_end_of_one_direction_leaves_the_other_open(self):
        def count(connection):
            connection.sendall(b"%d" % len(read_to_end(connection)))
        connection = self.through(count)
        connection.sendall(bytes(3 << 20))
        connection.shutdown(socket.SHUT_WR)
        self.assertEqual(read_to_end(connection), b"%d" % (3 << 20))

    def passive_reply(self, before, *words):
        """The reply that arrives, and what the port in it leads to."""
        listener = socket.create_server((ADDRESS, 0))
        self.addCleanup(listener.close)
        high, low = divmod(listener.getsockname()[1], 256)
        reply = b"%s227 Entering Passive Mode (127,0,0,1,%d,%d).\r\n" % (before, high, low)

        def greet(connection):
            connection.sendall(reply)
            connection.recv(1)
        return reply, read_line(self.through(greet, *words), reply.count(b"\n")), listener

    def test_of_ftp_the_data_connection_is_led_through_it(self):
        for before in (b"", b"200 Switching to Binary mode.\r\n"):
            reply, found, listener = self.passive_reply(before, "ftp")
            self.assertTrue(found.startswith(before + b"227 "), found)
            self.assertNotEqual(found, reply)
            high, low = map(int, found.rsplit(b"(", 1)[1].split(b")")[0].split(b",")[4:])
            with socket.create_connection((ADDRESS, high * 256 + low), timeout=60) as data:
                server_side, _ = listener.accept()
                with server_side:
                    data.sendall(b"to the server")
                    data.shutdown(socket.SHUT_WR)
                    self.assertEqual(read_to_end(server_side), b"to the server")

    def test_of_anything_else_no_byte_is_changed(self):
        reply, found, _ = self.passive_reply(b"")
        self.assertEqual(found, reply)


def read_line(connection, lines):
    text = b""
    while text.count(b"\n") < lines:
        piece = connection.recv(4096)
        if not piece:
            break
        text += piece
    return text


if __name__ == "__main__":
    unittest.main()
