import base64
import json
import math
import re
import signal
import socket
import time
import unittest
from urllib.parse import urlsplit

import nox
from instrument_host import BOUND, Host, Instrument, peaks_of

FULL = ("--voltage-profile", "0:20")  # no rise at the start
KINDS = {"simulated": lambda: Instrument.simulated(*FULL), "example": Instrument.example}


class Protocol(unittest.TestCase):
    """What every instrument does; the simulated one and the example of the documentation."""

    def each(self):
        for name, make in KINDS.items():
            with self.subTest(instrument=name), make() as instrument, Host(instrument.url) as host:
                began = time.monotonic()
                announcement = host.receive()
                self.assertLess(time.monotonic() - began, 1)
                self.assertEqual(announcement["message"], "announcement")
                yield host, announcement

    def test_announces_itself(self):
        for _, announcement in self.each():
            self.assertGreaterEqual(announcement["number_of_channels"], len(announcement["channels"]))
            self.assertTrue(announcement["serial_number"] and announcement["device_identification"])
            self.assertIn("ch0/pd_calibration", announcement["parameters"])

    def test_measures_from_start_to_stop_and_goes_on(self):
        for host, announcement in self.each():
            channels, following = announcement["number_of_channels"], 0
            for attempt in range(2):
                self.assertEqual(host.ask(message="start", id=attempt)["id"], attempt)
                for position in range(5 * channels):
                    block = host.receive("period_block")
                    self.assertEqual((block["channel"], block["index"]), (position % channels, following))
                    for period in block["periods"]:
                        self.check(period)
                    following += len(block["periods"]) if position % channels == channels - 1 else 0
                host.send({"message": "stop"})
                # Blocks that were on their way come first.
                while (message := host.receive())["message"] != "response":
                    following += message["message"] == "period_block" and message["channel"] == channels - 1
                self.assertEqual((message["parameter"], message["status"]), ("run", "ok"))
                self.assertEqual(host.ask(message="request", parameter="nonesuch", value=1)["status"], "rejected")

    def check(self, period):
        self.assertEqual(period["EndTime"] - period["StartTime"], period["SampleRate"] // 50)
        peaks = peaks_of(period)
        self.assertTrue(peaks)
        for amplitude, voltage, ticks, flags in peaks:
            self.assertTrue(period["StartTime"] <= ticks <= period["EndTime"] and amplitude and not flags)
            turn = (ticks - period["StartTime"]) / (period["EndTime"] - period["StartTime"])
            kilovolts = voltage * period["TvCalibration"] * period.get("TvHardwareCorrection", 1)
            self.assertGreater(kilovolts * math.sin(2 * math.pi * turn), -0.001, "in phase with the voltage")

    def test_sets_parameters(self):
        table = [(2.5, "ok"), (1e-4, "ok"), (0, "rejected"), (1000.1, "rejected"), ("1", "rejected"),
                 (True, "rejected"), (None, "rejected"), ([1], "rejected")]
        for host, _ in self.each():
            for value, status in table:
                with self.subTest(value=value):
                    answer = host.ask(message="request", id=7, parameter="ch0/pd_calibration", value=value, more={})
                    self.assertEqual((answer["id"], answer["parameter"], answer["status"], "reason" in answer),
                                     (7, "ch0/pd_calibration", status, status == "rejected"))
            host.send({"message": "start"})
            self.assertEqual(host.receive("period_block")["periods"][0]["PdCalibration"], 1e-4)

    def test_answers_what_is_no_message(self):
        table = [b"{", b"[]", b'"text"', b"{}", b'{"message":5}', b"\xff\xfe", b"[" * 5000, b'{"message":"request"}',
                 b'{"message":"start"', b"x" * (17 << 20)]
        for host, _ in self.each():
            for line in table:
                with self.subTest(line=line[:30]):
                    host.send(line)
                    self.assertEqual(host.receive()["message"], "error")
            for harmless in ({"message": "error", "reason": "so"}, {"message": "news"}, {"message": "heartbeat"}):
                host.send(harmless)
            host.send(b"\r")
            self.assertEqual(host.ask(message="stop")["status"], "ok", "nothing was answered")
            host.send(b"?\n" * 99 + b"?")
            self.assertEqual([host.receive()["message"] for _ in range(100)], ["error"] * 100)
            self.assertEqual(host.line(), b"")

    def test_keeps_the_connection_alive_but_leaves_a_silent_host(self):
        for host, _ in self.each():
            began = time.monotonic()
            beats = 0
            while line := host.line():
                beats += b"heartbeat" in line
            self.assertTrue(9 < time.monotonic() - began < 15 and 4 <= beats <= 6, beats)


class Simulate(unittest.TestCase):
    def test_same_seed_same_bytes(self):
        def first_bytes(seed):
            with Instrument.simulated("--seed", seed, "--speed", 0, "--channels", 3) as instrument:
                with Host(instrument.url) as host:
                    host.receive()
                    host.send({"message": "start"})
                    return [host.line() for _ in range(2000)]
        runs = [first_bytes(seed) for seed in (5, 5, 6)]
        self.assertEqual(runs[0], runs[1])
        self.assertNotEqual(runs[0], runs[2])

    def test_scope_gain_and_switch(self):
        with Instrument.simulated(*FULL, "--channels", 2) as instrument:
            with Host(instrument.url) as plain, Host(instrument.url) as changed:
                for parameter, value in (("ch0/gain", 2.5), ("ch1/enabled", False)):
                    self.assertEqual(changed.ask(message="request", parameter=parameter, value=value)["value"], value)
                    told = plain.receive("parameter")
                    self.assertEqual((told["parameter"], told["value"]), (parameter, value))
                changed.send({"message": "start"})
                self.assertEqual(changed.receive()["parameter"], "run")
                for index in range(3):
                    scope, block = changed.receive(), changed.receive()
                    self.assertEqual([(m["message"], m["index"]) for m in (scope, block)],
                                     [("voltage_scope", index), ("period_block", index)])
                    self.assertEqual((scope["SampleRate"], block["channel"]), (10000, 0))
                    samples = memoryview(base64.b64decode(scope["Samples"])).cast("i")
                    self.assertEqual(len(samples), 200)
                    self.assertAlmostEqual(max(samples) * scope["Calibration"], 20 * math.sqrt(2), 3)
                    self.assertAlmostEqual(block["periods"][0]["PdHardwareCorrection"], 0.4)
                self.assertEqual(changed.ask(message="request", parameter="ch0/gain", value=1)["status"], "ok")
                amplified = max(abs(peak[0]) for peak in peaks_of(block["periods"][0]))
                plain.send({"message": "start"})
                while (block := plain.receive("period_block"))["index"] < 2 or block["channel"]:
                    pass
                self.assertAlmostEqual(amplified / max(abs(peak[0]) for peak in peaks_of(block["periods"][0])), 2.5, 2)

    def test_cut_connections_leave_nothing(self):
        with Instrument.simulated(*FULL, "--speed", 0, "--pulses", 1000) as instrument:
            def storm(cycles):
                for cycle in range(cycles):
                    with Host(instrument.url) as host:
                        host.receive()
                        host.send(b'{"message":"start"}\n{"message":"request","parameter":"ch0/'[:cycle % 70])
                deadline = time.monotonic() + BOUND
                while (used := instrument.resources())[2] > idle[2] and time.monotonic() < deadline:
                    time.sleep(0.01)
                return used
            with Host(instrument.url) as host:
                host.receive()  # so that whatever it needs is loaded
            # Also what that host needed goes first.
            idle = min((instrument.resources() for _ in range(20) if time.sleep(0.05) is None), key=lambda used: used[1:])
            warm = storm(300)
            used = storm(1000)
            self.assertLess(used[0] - warm[0], 1000 * 1024)
            self.assertEqual((used[1:], warm[1:]), (idle[1:], idle[1:]))

    def test_a_host_that_reads_nothing_is_told_what_it_lost(self):
        with Instrument.simulated(*FULL, "--speed", 100, "--pulses", 3000, "--source", "noise") as instrument:
            with Host(instrument.url) as host:
                host.receive()
                idle, most = instrument.resources()[0], 0
                host.send({"message": "start"})
                for _ in range(15):
                    time.sleep(1)  # longer than a silent host would be kept
                    host.send({"message": "heartbeat"})
                    most = max(most, instrument.resources()[0])
                self.assertTrue(64 << 20 < most - idle < 80 << 20, (most - idle) / (1 << 20))
                following, lost = [0, 0], [0, 0]
                while not all(lost):
                    message = host.receive("period_block", "overrun")
                    channel = message["channel"]
                    if message["message"] == "overrun":
                        self.assertEqual(message["from"], following[channel])
                        lost[channel] = message["to"] + 1 - message["from"]
                        following[channel] = message["to"] + 1
                    else:
                        self.assertEqual(message["index"], following[channel])
                        following[channel] += 1
                self.assertGreater(min(lost), 1)

    def test_ends_cleanly_and_shows_hosts_when_asked(self):
        for number, option in ((signal.SIGINT, []), (signal.SIGTERM, ["--verbose"])):
            with self.subTest(signal=number), Instrument.simulated(*option) as instrument:
                self.assertRegex(instrument.url, r"^tcp://127\.0\.0\.1:\d+$")
                with Host(instrument.url) as host:
                    host.receive()
                    status, rest, messages = instrument.end(number)
                self.assertEqual((status, rest, "has come" in messages), (0, "", bool(option)), messages)

    def test_is_found_and_says_good_bye(self):
        words = ("discover", "--interface", "lo", "--timeout", 2, "--json")
        def found():
            rows = [json.loads(line) for line in nox.run(*words).stdout.splitlines()]
            return [row for row in rows if row["instrument"] and urlsplit(row["url"]).port == port]
        uuids = []
        for _ in range(2):
            with Instrument.simulated("--announce", "--seed", 12345) as instrument:
                port = urlsplit(instrument.url).port
                [row] = found()
                with Host(row["url"]) as host:
                    self.assertEqual(host.receive()["serial_number"], "S12345")
                uuids.append(row["uuid"])
                self.assertEqual(instrument.end(signal.SIGTERM)[0], 0)
                self.assertEqual(found(), [])
        self.assertEqual(*uuids)

    def test_wrong_words(self):
        with socket.create_server(("127.0.0.1", 0)) as taken:
            table = [(["--listen", "127.0.0.1:%d" % taken.getsockname()[1]], 1), (["--listen", "192.0.2.1:0"], 1),
                     (["--listen", "6027"], 2), (["--listen", "127.0.0.1:65536"], 2), (["--listen", "::1:5"], 2),
                     (["--listen", ""], 2), (["--channels", "0"], 2), (["--channels", "1025"], 2), (["--seed", "-1"], 2),
                     (["--pulses", "nan"], 2), (["--speed", "-1"], 2), (["--source", "void,,noise"], 2),
                     (["--voltage-profile", "0"], 2), (["--frequency", "0"], 2), (["word"], 2),
                     (["--listen", "[::]:0", "--announce"], 2)]
            for arguments, status in table:
                with self.subTest(arguments=arguments):
                    result = nox.run("simulate", *arguments)
                    self.assertEqual((result.status, result.stdout, len(result.messages())), (status, "", 1), result)
        with Instrument(nox.program(), "simulate", "--listen", "[::1]:0") as instrument:
            self.assertTrue(re.match(r"tcp://\[::1\]:\d+$", instrument.url), instrument.url)
            with Host(instrument.url) as host:
                self.assertEqual(host.receive()["message"], "announcement")


if __name__ == "__main__":
    unittest.main()
