"""The announcer and `nox discover` against other people's stacks, each in network namespaces of its own."""
import json
import socket
import subprocess
import tempfile
import time
import unittest
from ctypes.util import find_library
from pathlib import Path

import nox
import ssdp
import wire

# The system's, which has the system's bindings.
PYTHON = "/usr/bin/python3"
PEERS = str(Path(__file__).with_name("upnp_peers.py"))


class AnnouncerIsHeard(wire.WireTest):
    def setUp(self):
        super().setUp()
        self.uuid = ssdp.new_uuid()

    def announce(self):
        announcer = self.wire.start("A", *ssdp.announcer_words(self.uuid))
        announcer.stdout.readline()
        return announcer

    def need(self, program):
        reason = wire.reason_to_skip(program)
        if reason:
            self.skipTest(reason)

    def test_by_gssdp_discover(self):
        self.need("gssdp-discover")
        listener = self.wire.start("B", "stdbuf", "-oL", "gssdp-discover", "-i", "vB", "-n", "120", "-m", "all")
        output = ssdp.Lines(listener)
        self.assertTrue(output.wait(lambda lines: any("Showing" in line for line in lines)))
        announcer = self.announce()

        def names(lines, event):
            pairs = zip(lines, lines[1:])
            return {usn.split()[-1] for first, usn in pairs if first == f"resource {event}" and "USN" in usn}

        self.assertTrue(output.wait(lambda lines: names(lines, "available") >= ssdp.names_of(self.uuid)), output.seen)
        self.assertIn("  Location: tcp://10.77.0.1:4711", output.seen)
        announcer.communicate()
        self.assertTrue(output.wait(lambda lines: names(lines, "unavailable") >= ssdp.names_of(self.uuid)), output.seen)
        # It calls everything unavailable when it ends, which it has not done yet.
        self.assertIsNone(listener.poll())

    def test_by_minissdpd(self):
        self.need("minissdpd")
        with tempfile.TemporaryDirectory() as folder:
            path = f"{folder}/s"
            self.wire.start("B", "/usr/sbin/minissdpd", "-d", "-t", "2", "-i", "vB", "-s", path, "-p", f"{folder}/p",
                            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
            self.wait_for(lambda: Path(path).exists())
            announcer = self.announce()
            self.wait_for(lambda: {usn for _, _, usn in ask_minissdpd(path)} == ssdp.names_of(self.uuid))
            self.assertEqual({url for url, _, _ in ask_minissdpd(path)}, {"tcp://10.77.0.1:4711"})
            announcer.communicate()
            self.wait_for(lambda: ask_minissdpd(path) == [])

    def test_by_miniupnpc(self):
        if not find_library("miniupnpc"):
            self.skipTest("libminiupnpc is not installed")
        announcer = self.announce()
        root, device = "upnp:rootdevice", f"uuid:{self.uuid}"
        for target, names in ((root, {f"{device}::{root}"}), (device, {device}), (ssdp.DEVICE, {f"{device}::{ssdp.DEVICE}"}),
                              (ssdp.SERVICE, {f"{device}::{ssdp.SERVICE}"}), ("ssdp:all", ssdp.names_of(self.uuid)),
                              ("urn:nox-instruments:device:pd:2", set())):
            with self.subTest(target=target):
                text, errors = self.wire.start("B", PYTHON, PEERS, "miniupnpc", target).communicate(timeout=60)
                self.assertEqual({tuple(line.split()) for line in text.splitlines()},
                                 {(name, "tcp://10.77.0.1:4711") for name in names}, errors)
        announcer.communicate()

    def wait_for(self, holds):
        end = time.monotonic() + 30
        while not holds():
            self.assertLess(time.monotonic(), end)
            time.sleep(0.05)


def ask_minissdpd(path):
    """Location, target and name of all that it knows."""
    with socket.socket(socket.AF_UNIX) as client:
        client.settimeout(10)
        client.connect(path)
        client.sendall(b"\x03\x08ssdp:all")
        stream = client.makefile("rb")

        def text():
            length = 0
            while True:
                byte = stream.read(1)[0]
                length = length << 7 | byte & 0x7f
                if byte < 0x80:
                    return stream.read(length).decode()

        return [(text(), text(), text()) for _ in range(stream.read(1)[0])]


class StacksAreFound(wire.WireTest):
    def discover(self, seconds):
        return self.wire.start("B", nox.program(), "discover", "--timeout", seconds, "--json")

    def check(self, *words):
        uuid = ssdp.new_uuid()
        # Two that listen already, of which one ends before the peer; then one that searches.
        early, late = self.discover(6), self.discover(16)
        for listener in (early, late):
            ssdp.wait_for_sockets(listener)
        peer = self.wire.start("A", PYTHON, PEERS, *words, "vA", uuid)
        self.assertTrue(ssdp.Lines(peer).wait(lambda lines: "ready" in lines, 5), words)
        for listener in (early, self.discover(3)):
            text, errors = listener.communicate(timeout=60)
            rows = [json.loads(line) for line in text.splitlines()]
            self.assertEqual([(row["uuid"], row["type"], row["url"].split(":4")[0]) for row in rows],
                             [(uuid, ssdp.DEVICE, "http://10.77.0.1")], errors)
        peer.communicate(timeout=30)
        self.assertEqual(late.communicate(timeout=60), ("", "nox: no device answered.\n"), "it said good-bye")

    def test_gssdp(self):
        probe = "import gi; gi.require_version('GSSDP', '1.6')"
        if subprocess.run([PYTHON, "-c", probe], capture_output=True, timeout=30).returncode != 0:
            self.skipTest("python3-gi or gir1.2-gssdp-1.6 is not installed")
        self.check("gssdp")

    def test_libupnp(self):
        if not find_library("upnp"):
            self.skipTest("libupnp is not installed")
        self.check("libupnp")


if __name__ == "__main__":
    unittest.main()
