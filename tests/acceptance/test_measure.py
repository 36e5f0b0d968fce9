"""Runs `nox measure` on the simulated signal source and `nox entries`, from outside."""
import json
import os
import signal
import subprocess
import unittest

import nox
import readings

FAST = "simulator:?channels=2&speed=0&seed=3&voltage-profile=0:20"


class Measure(unittest.TestCase):
    def test_ends_after_the_periods_asked_for(self):
        result = nox.run("measure", FAST, "--periods", 40, "--json", "--evaluators", "qiec;frequency")
        keys = [readings.key(reading) for reading in readings.from_jsonl(result.stdout)]
        expected = [(period, channel, name) for period in range(40) for channel in range(2)
                    for name in ("frequency", "qiec")]
        self.assertEqual(keys, expected)

    def test_same_seed_same_readings(self):
        runs = [nox.run("measure", FAST.replace("seed=3", f"seed={seed}"), "--duration", "1s", "--json").stdout
                for seed in (3, 3, 4)]
        self.assertTrue(runs[0])
        self.assertEqual(runs[0], runs[1])
        self.assertNotEqual(runs[0], runs[2])

    def test_internal_voids_read_hundreds_of_picocoulombs(self):
        last = readings.from_jsonl(nox.run("measure", FAST + "&source=void", "--duration", "3s", "--json").stdout)[-1]
        self.assertTrue(last["Unit"] == "pC" and 100 < last["Value"] < 2000, last)

    def test_plain_lines_where_no_terminal_is(self):
        result = nox.run("measure", FAST, "--duration", "3s")
        self.assertEqual(result.status, 0, result.stderr)
        self.assertNotIn("\x1b", result.stdout)
        self.assertRegex(result.stdout, r"(?m)^ +0 +[\d.]+ pC")

    def test_wrong_words(self):
        table = [(["tcp://127.0.0.1:1"], 1), (["simulator:?channels=0"], 2), (["simulator:?nonesuch=1"], 2),
                 (["simulator:", "--duration", "soon"], 2), (["simulator:", "--periods", "0"], 2), ([], 2)]
        for arguments, status in table:
            with self.subTest(arguments=arguments):
                result = nox.run("measure", *arguments)
                self.assertEqual((result.status, result.stdout, len(result.messages())), (status, "", 1), result)

    def test_signals_end_cleanly(self):
        for number in (signal.SIGINT, signal.SIGTERM):
            for limit, status in (([], 0), (["--duration", "1000s"], 1)):
                with self.subTest(signal=number, limit=limit):
                    process = subprocess.Popen([nox.program(), "measure", "simulator:", "--json", *limit],
                                               stdout=subprocess.PIPE, stderr=subprocess.PIPE)
                    first = process.stdout.readline()
                    process.send_signal(number)
                    rest, messages = process.communicate(timeout=60)
                    self.assertEqual(process.returncode, status, messages)
                    for line in (first + rest).splitlines():
                        json.loads(line)

    def test_interrupted_evaluation_of_a_pipe(self):
        process = subprocess.Popen([nox.program(), "evaluate", "/dev/stdin"], stdin=subprocess.PIPE,
                                   stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        process.stdin.write(b"channel,")
        process.stdin.flush()
        # Until the pipe is empty the program has not begun to wait for more.
        while os.read(os.open(f"/proc/{process.pid}/stat", os.O_RDONLY), 100).split(b") ")[1][:1] != b"S":
            pass
        process.send_signal(signal.SIGINT)
        _, messages = process.communicate(timeout=60)
        self.assertIn(process.returncode, (1, -signal.SIGINT), messages)


class Entries(unittest.TestCase):
    def test_classes_are_listed(self):
        result = nox.run("entries", "--json")
        classes = [json.loads(line) for line in result.stdout.splitlines()]
        self.assertEqual((len({entry["guid"] for entry in classes}), len(classes)), (55, 55))
        period = next(entry for entry in classes if (entry["category"], entry["version"]) == ("nox_pd_period", "v2"))
        self.assertEqual([row["name"] for row in period["properties"]][:3], ["StartTime", "EndTime", "SampleRate"])
        self.assertEqual(nox.run("entries").stdout.count("\n"), 55)
        self.assertIn("PdCalibration", nox.run("entries", "nox_pd_period").stdout)
        unknown = nox.run("entries", "nonesuch")
        self.assertEqual((unknown.status, unknown.stdout), (1, ""))


if __name__ == "__main__":
    unittest.main()
