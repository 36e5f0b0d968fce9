"""Runs `nox measure` on instruments that come, go, refuse and keep silent, over TCP."""
import json
import signal
import socket
import subprocess
import threading
import time
import unittest
from urllib.parse import urlsplit

import nox
import readings
from instrument_host import Instrument

FAST = ("--speed", "0", "--voltage-profile", "0:20", "--seed", "3")


def measure(*arguments):
    return subprocess.Popen([nox.program(), "measure", *map(str, arguments)], stdin=subprocess.DEVNULL,
                            stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)


class MeasureOverTheNetwork(unittest.TestCase):
    def scripted(self, *lines):
        """The URL of a peer that says its lines to the first host, and then nothing."""
        server = socket.create_server(("127.0.0.1", 0))
        self.addCleanup(server.close)

        def serve():
            host, _ = server.accept()
            self.addCleanup(host.close)
            for line in lines:
                host.sendall(json.dumps(line).encode() + b"\n")

        threading.Thread(target=serve, daemon=True).start()
        return "tcp://127.0.0.1:%d" % server.getsockname()[1]

    def test_the_example_instrument(self):
        with Instrument.example() as instrument:
            result = nox.run("measure", instrument.url, "--periods", 20, "--json", "--evaluators", "frequency")
            self.assertEqual(result.status, 0, result.stderr)
            periods = readings.from_jsonl(result.stdout)
            self.assertEqual([reading["period"] for reading in periods], list(range(20)))

    def test_the_same_readings_as_inside_the_program(self):
        with Instrument.simulated(*FAST, "--channels", 2) as instrument:
            arguments = ("--periods", 200, "--json", "--evaluators", "qiec;qmax;voltage")
            outside = nox.run("measure", instrument.url, *arguments)
            inside = nox.run("measure", "simulator:?speed=0&seed=3&voltage-profile=0:20", *arguments)
            lines = [[line for line in result.stdout.splitlines() if '"channel"' in line]
                     for result in (outside, inside)]
            self.assertEqual(lines[0], lines[1])
            self.assertIn('"processor":"voltage"', outside.stdout)

    def test_goes_on_when_the_instrument_is_back(self):
        with Instrument.simulated("--channels", 2) as instrument:
            port = urlsplit(instrument.url).port
            process = measure(instrument.url, "--json", "--evaluators", "frequency", "--duration", "1s")
            first = [process.stdout.readline() for _ in range(20)]
        again = Instrument(nox.program(), "simulate", "--listen", f"127.0.0.1:{port}")
        with again:
            rest, messages = process.communicate(timeout=60)
        self.assertEqual(process.returncode, 0, messages)
        keys = [readings.key(json.loads(line)) for line in first + rest.splitlines()]
        self.assertEqual(len(set(keys)), len(keys), "no index comes twice")
        self.assertEqual(sorted(keys), keys)
        self.assertEqual([period for period, channel, _ in keys if channel == 0],
                         list(range(1 + max(period for period, _, _ in keys))), "nor is one left out")
        self.assertRegex(messages, r"connection is lost[^\n]*\n[^\n]*connected again")
        self.assertIn("1 interruptions", messages)

    def test_fails_with_one_sentence(self):
        announcement = {"message": "announcement", "protocol_version": "1.0", "device_identification": "T",
                        "serial_number": "S", "number_of_channels": 1}
        table = [
            ("tcp://127.0.0.1:1", "refused"),
            ("tcp://nowhere.invalid", "not found"),
            ("tcp:", "names no host"),
            ("serial:/dev/null", "no transport"),
            (self.scripted(), "did not announce itself within 10 s"),
            (self.scripted({**announcement, "protocol_version": "7.0"}), "version 7.0"),
            (self.scripted({**announcement, "number_of_channels": 2 ** 31 - 1}), "2147483647 channels"),
            (self.scripted(announcement, {"message": "response", "parameter": "run", "status": "rejected",
                                     "reason": "the cover is open"}), "the cover is open"),
        ]
        processes = [(measure(url, "--duration", "1s"), words) for url, words in table]
        begin = time.monotonic()
        for process, words in processes:
            output, messages = process.communicate(timeout=60)
            with self.subTest(words=words):
                self.assertEqual(process.returncode, 1)
                lines = [line for line in messages.splitlines() if line.startswith("nox: ")]
                self.assertEqual(len(lines), 1, messages)
                self.assertIn(words, lines[0])
        self.assertLess(time.monotonic() - begin, 20)

    def test_is_lost_for_good(self):
        for patience, words in (("0", "is lost"), ("300ms", "lost for good")):
            with self.subTest(patience=patience):
                with Instrument.simulated() as instrument:
                    process = measure(instrument.url, "--json", "--reconnect-for", patience)
                    process.stdout.readline()
                output, messages = process.communicate(timeout=60)
                self.assertEqual(process.returncode, 1)
                self.assertIn(words, messages)
                for line in output.splitlines():
                    json.loads(line)

    def test_sets_parameters_before_the_start(self):
        with Instrument.simulated(*FAST, "--source", "void") as instrument:
            arguments = ("measure", instrument.url, "--periods", 50, "--json", "--evaluators", "qmax")
            largest = []
            for calibration in ("0.01", "0.02"):
                result = nox.run(*arguments, "--set", f"ch0/pd_calibration={calibration}", "--set", "ch1/enabled=true")
                self.assertEqual(result.status, 0, result.stderr)
                largest.append(max(reading["AbsolutePeakValue"] for reading in readings.from_jsonl(result.stdout)
                                   if reading["channel"] == 0))
            self.assertAlmostEqual(largest[1], 2 * largest[0])
            for wish, status in (("ch0/pd_calibration=high", 1), ("no/such=1", 1), ("=1", 2), ("gain", 2)):
                with self.subTest(wish=wish):
                    result = nox.run(*arguments, "--set", wish)
                    self.assertEqual((result.status, result.stdout, len(result.messages())), (status, "", 1), result)

    def test_a_channel_that_is_switched_off_holds_nothing_up(self):
        with Instrument.simulated(*FAST, "--channels", 2) as instrument:
            result = nox.run("measure", instrument.url, "--periods", 30, "--json", "--set", "ch1/enabled=false",
                             "--evaluators", "frequency")
            self.assertEqual(result.status, 0, result.stderr)
            keys = [readings.key(reading) for reading in readings.from_jsonl(result.stdout)]
            self.assertEqual(keys, [(period, 0, "frequency") for period in range(30)])

    def test_ends_on_a_signal_while_it_connects_and_tells_more_when_asked(self):
        process = measure(self.scripted(), "--verbose")
        line = process.stderr.readline()
        self.assertIn("handleConnectionStatusChange() connectionId=", line)
        process.send_signal(signal.SIGINT)
        process.communicate(timeout=10)
        self.assertEqual(process.returncode, 0, "meant to run until stopped")


if __name__ == "__main__":
    unittest.main()
