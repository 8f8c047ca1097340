#!/usr/bin/python3
"""aioftp-server.py PORT ROOT USER PASSWORD: an aioftp server on 127.0.0.1, as it comes."""
import asyncio
import logging
import sys

import aioftp

PORT, ROOT, USER, PASSWORD = sys.argv[1:]


async def serve():
    server = aioftp.Server([aioftp.User(USER, PASSWORD, base_path=ROOT)])
    await server.start("127.0.0.1", int(PORT))
    await server.server.wait_closed()
    await asyncio.Event().wait()


logging.basicConfig(level=logging.INFO)
asyncio.run(serve())
