"""A host for one instrument in plain Python, which trusts nothing that the instrument says about itself."""
import base64
import json
import socket
import struct
import subprocess
import sys
import tempfile
from pathlib import Path
from urllib.parse import urlsplit

import nox

BOUND = 30  # seconds, generous


class Instrument:
    """An instrument in a process of its own, listening where its first line says."""

    def __init__(self, *command):
        self.messages = tempfile.TemporaryFile()  # a pipe that nobody reads would stop the instrument
        self.process = subprocess.Popen([*map(str, command)], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                        stderr=self.messages)
        self.url = self.process.stdout.readline().decode().strip()

    @classmethod
    def simulated(cls, *options):
        return cls(nox.program(), "simulate", "--listen", "127.0.0.1:0", *options)

    @classmethod
    def example(cls):
        return cls(sys.executable, nox.ROOT / "docs" / "examples" / "instrument.py", 0)

    def resources(self):
        """(resident bytes, threads, descriptors)"""
        root = Path("/proc", str(self.process.pid))
        status = dict(line.split(":", 1) for line in (root / "status").read_text().splitlines())
        return int(status["VmRSS"].split()[0]) * 1024, int(status["Threads"]), len(list((root / "fd").iterdir()))

    def end(self, number):
        self.process.send_signal(number)
        rest, _ = self.process.communicate(timeout=BOUND)
        self.messages.seek(0)
        return self.process.returncode, rest.decode(), self.messages.read().decode()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.kill()
        self.process.communicate()
        self.messages.close()


class Host:
    def __init__(self, url):
        parts = urlsplit(url)
        self.socket = socket.create_connection((parts.hostname, parts.port), timeout=BOUND)
        self.lines = self.socket.makefile("rb")

    def send(self, line):
        self.socket.sendall((line if isinstance(line, bytes) else json.dumps(line).encode()) + b"\n")

    def line(self):
        """The next line; empty when the instrument has closed."""
        return self.lines.readline()

    def receive(self, *wanted):
        """The next message but heartbeats; with names, the next of these."""
        while line := self.line():
            message = json.loads(line)
            if message["message"] in wanted if wanted else message["message"] != "heartbeat":
                return message
        raise ConnectionError("the instrument has closed")

    def ask(self, **members):
        self.send(members)
        return self.receive("response", "error")

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.lines.close()
        self.socket.close()


def peaks_of(period):
    """(amplitude, voltage, time, flags) of each pulse."""
    return list(struct.iter_unpack("<iiqB", base64.b64decode(period["Peaks"], validate=True)))
