"""Runs `nox discover` and the announcer against a bare-socket peer, from outside."""
import json
import signal
import subprocess
import sys
import time
import unittest
from pathlib import Path

import nox
import ssdp
import wire

PEER = str(Path(ssdp.__file__).resolve())


def rows_of(text):
    return [json.loads(line) for line in text.splitlines()]


class CommandLine(unittest.TestCase):
    def test_wrong_words(self):
        table = [(["--interface", "nonesuch0"], 1), (["--timeout", "soon"], 2), (["--output", "xml"], 2), (["name"], 2)]
        for arguments, status in table:
            with self.subTest(arguments=arguments):
                result = nox.run("discover", *arguments)
                self.assertEqual((result.status, result.stdout, len(result.messages())), (status, "", 1), result)

    def test_an_interruption_ends_the_search(self):
        process = subprocess.Popen([nox.program(), "discover", "--interface", "lo", "--timeout", "1000"],
                                   stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        ssdp.wait_for_sockets(process)
        process.send_signal(signal.SIGINT)
        process.communicate(timeout=20)
        self.assertEqual(process.returncode, 1)


class Loopback(unittest.TestCase):
    def setUp(self):
        self.uuid = ssdp.new_uuid()
        self.announcer = subprocess.Popen(list(map(str, ssdp.announcer_words(self.uuid, loopback=True))),
                                          stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        self.addCleanup(self.announcer.communicate)
        self.announcer.stdout.readline()

    def test_is_listed_in_every_form_and_gone_after_its_end(self):
        words = ["discover", "--interface", "lo", "--timeout", "2"]
        rows = [row for row in rows_of(nox.run(*words, "--json").stdout) if row["uuid"] == self.uuid]
        self.assertEqual([(row["type"], row["url"], row["instrument"], row["services"]) for row in rows],
                         [(ssdp.DEVICE, "tcp://127.0.0.1:4711", True, [ssdp.SERVICE])])
        self.assertEqual(rows[0]["name"], "ssdp_announcer 1.0")
        self.assertRegex(nox.run(*words).stdout, r"(?m)^NAME +TYPE +URL +EXPIRES\n")
        self.assertRegex(nox.run(*words, "--output", "csv").stdout, r'(?m)^"ssdp_announcer 1.0","urn:nox-')
        self.announcer.communicate()
        self.assertNotIn(self.uuid, nox.run(*words, "--json").stdout)

    def test_searches_are_answered_in_time_or_not_at_all(self):
        target = f"uuid:{self.uuid}"
        latest = []
        for _ in range(3):
            askers = [ssdp.sender("127.0.0.1") for _ in range(10)]
            for asker in askers:
                asker.sendto(ssdp.search(target), (ssdp.GROUP, ssdp.PORT))
            answers = list(ssdp.receive(askers, 2))
            self.assertEqual({asker for asker, *_ in answers}, set(askers))
            self.assertEqual(len(answers), len(askers))
            self.assertTrue(all(ssdp.headers_of(datagram)["ST"] == target for _, datagram, _ in answers))
            seconds = [when for *_, when in answers]
            self.assertGreater(max(seconds) - min(seconds), 0.1, "spread over the time that was allowed")
            latest.append(max(seconds))
            for asker in askers:
                asker.close()
        # A busy machine may delay one round, hardly all.
        self.assertLess(min(latest), 1.1)

        asker = ssdp.sender("127.0.0.1")
        self.addCleanup(asker.close)
        bad = [{"MAN": "ssdp:discover"}, {"MAN": None}, {"MX": None}, {"MX": "soon"}, {"MX": -1}, {"MX": 0}, {"ST": None},
               {"ST": "ssdp:some"}, {"ST": f"uuid:{self.uuid}x"}, {"ST": ssdp.DEVICE[:-1] + "2"}]
        for changes in bad:
            asker.sendto(ssdp.search(target, **changes), (ssdp.GROUP, ssdp.PORT))
        self.assertEqual([datagram for _, datagram, _ in ssdp.receive([asker], 1.5)], [])

    def test_a_full_answer_is_at_most_fourteen_times_the_search(self):
        asker = ssdp.sender("127.0.0.1")
        self.addCleanup(asker.close)
        question = ssdp.search("ssdp:all")
        asker.sendto(question, (ssdp.GROUP, ssdp.PORT))
        own = [datagram for _, datagram, _ in ssdp.receive([asker], 1.5) if self.uuid.encode() in datagram]
        self.assertEqual({ssdp.headers_of(datagram)["USN"] for datagram in own}, ssdp.names_of(self.uuid))
        self.assertLessEqual(sum(map(len, own)), 14 * len(question))


class OnTheWire(wire.WireTest):
    def discover(self, *arguments, **options):
        return self.wire.start("B", nox.program(), "discover", *arguments, **options)

    def send(self, datagram):
        self.wire.start("A", sys.executable, PEER, "send", "10.77.0.1", text=False).communicate(datagram)

    def test_without_devices_or_interfaces_there_is_a_note(self):
        done = self.discover("--timeout", "1").communicate()
        self.assertEqual(done, ("", "nox: no device answered.\n"))
        # An interface that takes no part is as good as none.
        for words in (["set", "vB", "down"], ["set", "vB", "name", "VirtualBox0"], ["set", "VirtualBox0", "up"]):
            wire.ip("-n", self.wire.names["B"], "link", *words)
        process = self.discover("--timeout", "1")
        self.assertEqual(process.communicate(), ("", "nox: there is no network interface to search on.\n"))
        self.assertEqual(process.returncode, 0)

    def test_an_interface_that_comes_later_is_announced_on(self):
        wire.ip("-n", self.wire.names["A"], "addr", "flush", "dev", "vA")
        name = ssdp.new_uuid()
        announcer = self.wire.start("A", *ssdp.announcer_words(name))
        announcer.stdout.readline()
        searcher = self.discover("--timeout", "20", "--json")
        ssdp.wait_for_sockets(searcher)
        wire.ip("-n", self.wire.names["A"], "addr", "add", "10.77.0.1/24", "dev", "vA")
        text, _ = searcher.communicate(timeout=60)
        self.assertEqual([(row["uuid"], row["url"]) for row in rows_of(text)], [(name, "tcp://10.77.0.1:4711")])

    def test_strangers_reach_neither_the_terminal_nor_other_hosts(self):
        searcher = self.discover("--timeout", "4", "--json")
        everything = self.discover("--timeout", "4", "--json", "--all")
        datagrams = [ssdp.alive("good\x1b[2J", "10.77.0.1", SERVER="a/1 UPnP/1.1 \x1b]0;x\x07evil/1"),
                     ssdp.alive("tv", "10.77.0.1", USN="uuid:tv::urn:a:device:a:1"), ssdp.alive("elsewhere", "10.77.0.9"), ssdp.alive("script", "", LOCATION="javascript:alert(1)"),
                     ssdp.alive("brief", "10.77.0.1", CACHE_CONTROL="max-age=0"),
                     b"NOTIFY * HTTP/1.1\r\nUSN: " + b"x" * 20000 + b"\r\n\r\n", b"\xff" * 100, b""]
        end = time.monotonic() + 3
        while time.monotonic() < end:
            for datagram in datagrams[:4] + datagrams[5:]:
                self.send(datagram)
        self.send(datagrams[4])
        uuids = []
        for process in (searcher, everything):
            text, _ = process.communicate(timeout=60)
            self.assertNotIn("\\u001b", text)
            self.assertNotIn("\x1b", text)
            uuids.append([row["uuid"] for row in rows_of(text) if row["uuid"] != "brief"])
        # Instruments first.
        self.assertEqual(uuids, [["good[2J", "tv"], ["good[2J", "elsewhere", "tv"]])

    def test_a_burst_of_names_neither_fills_memory_nor_hides_a_device(self):
        name = ssdp.new_uuid()
        announcer = self.wire.start("A", *ssdp.announcer_words(name))
        announcer.stdout.readline()

        def run(count):
            process = self.discover("--timeout", "5", "--json", "--verbose")
            if count:
                self.wire.start("A", sys.executable, PEER, "flood", "10.77.0.1", count)
            memory, output = 0, ssdp.Lines(process)
            while not output.wait(lambda lines: lines, 0.05):
                self.assertIsNone(process.poll())
                memory = max(memory, resident_kilobytes(process.pid))
            text = "\n".join(output.seen + [output.rest]) + process.communicate(timeout=60)[0]
            rows = rows_of(text)
            return memory, rows

        quiet, rows = run(0)
        self.assertEqual([row["uuid"] for row in rows], [name])
        busy, rows = run(100000)
        self.assertIn(name, {row["uuid"] for row in rows})
        self.assertTrue(500 < len(rows) <= 1024, len(rows))
        self.assertLess(busy - quiet, 4096, f"{quiet} kB before, {busy} kB in the burst")


def resident_kilobytes(pid):
    try:
        lines = Path(f"/proc/{pid}/status").read_text().splitlines()
    except OSError:
        return 0
    return next((int(line.split()[1]) for line in lines if line.startswith("VmHWM:")), 0)


if __name__ == "__main__":
    unittest.main()
