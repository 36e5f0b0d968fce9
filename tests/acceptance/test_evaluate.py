"""Readings of `nox evaluate` against an independent model and against known figures."""
import os
import tempfile
import unittest
from dataclasses import replace
from pathlib import Path

import model
import nox
import pulse_csv
import readings

OPTION_SETS = (
    [],
    ["--evaluators", "qmax;frequency;qiec"],
    ["--evaluators", "qiec;;qmax;"],
    ["--gating", "2"],
    ["--gating", "3"],
    ["--phase-offset", "90", "--phase-span", "400"],
    ["--ignore-corrections"],
    ["--invert", "--tau1", "0.1"],
    ["--tau2", "1.7", "--initial-qiec", "1e7"],
    ["--channel", "1"],
    ["--channel=2", "--gating=3", "--invert", "--ignore-corrections", "--tau1=0.2", "--tau2=0.05",
     "--initial-qiec=12.5", "--phase-offset=-30", "--phase-span=180", "--evaluators=frequency;qmax"],
)


class EvaluateCase(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)

    def write(self, periods, name="pulses.csv"):
        return pulse_csv.write(self.folder / name, periods)

    def evaluate(self, path, *options, **environment):
        """The program's standard output after a run that has to succeed."""
        result = nox.run("evaluate", path, *options, **environment)
        self.assertEqual(result.status, 0, result.stderr)
        return result.stdout

    def assert_as_model(self, path, *options):
        actual = readings.from_jsonl(self.evaluate(path, "--json", *options))
        expected = model.evaluate(*model.parse([str(path), *options]))
        self.assertTrue(expected)
        self.assertIsNone(readings.first_difference(actual, expected))
        return actual


class AgainstTheModel(EvaluateCase):
    def test_every_option(self):
        path = self.write(pulse_csv.random_measurement(seed=1, count=500))
        for options in OPTION_SETS:
            with self.subTest(options=options):
                self.assert_as_model(path, *options)

    def test_measurements(self):
        for seed, count, first in ((2, 1200, 0), (3, 400, 2**53 - 400), (4, 40, 7)):
            with self.subTest(seed=seed):
                self.assert_as_model(self.write(pulse_csv.random_measurement(seed, count, first)), "--gating", "3",
                                     "--evaluators", "frequency;qiec;qmax")

    def test_lengths(self):
        self.assert_as_model(self.write(pulse_csv.lengths_in_turn(3)))

    def test_limits_of_every_column(self):
        far = 2**53
        periods = [
            pulse_csv.Period(2**31 - 1, 0, -far, far, 2**32 - 1, -0.5, -2.5, 1e300, -1e300, 0,
                             [(far, -2**31, 2**31 - 1, 255), (-far, 2**31 - 1, -2**31, 0)]),
            pulse_csv.Period(0, far, far - 20000, far, 2**32 - 1, 1e-200, 1e-12, 0, 1e-12, 0, [(far, -2**31, 0, 0)]),
            pulse_csv.Period(1, far, far - 1, far, 1, 0.5, 1.000001e-12, 0, 0, 2**32 - 6, [(far, 7, 0, 0)]),
            pulse_csv.Period(2**31 - 1, far, far - 20000, far, 1, 0.0, 1.0, 0, 0, 2**32 - 1, [(far, 5, 0, 0)]),
        ]
        self.assert_as_model(self.write(periods), "--evaluators", "frequency;qiec;qmax")

    def test_periods_that_yield_no_reading(self):
        faults = ({"end": 0}, {"end": -1}, {"sample_rate": 0})
        path = self.write(pulse_csv.Period(index=index, pulses=[(5, 6, 7, 0)], **fault)
                          for index, fault in enumerate(faults))
        self.assertEqual(self.evaluate(path, "--json"), "")
        found = self.assert_as_model(self.write(pulse_csv.Period(index=index) for index in range(5)))
        self.assertEqual({reading["processor"] for reading in found}, {"qiec"}, "quiet periods leave maxima unwritten")


class FormsOfInput(EvaluateCase):
    def setUp(self):
        super().setUp()
        self.periods = list(pulse_csv.random_measurement(seed=5, count=60))
        self.expected = self.evaluate(self.write(self.periods), "--json")

    def test_same_readings(self):
        path = self.folder / "form.csv"
        shuffled = ("remark", *reversed(pulse_csv.COLUMNS[3:]), "extra", *pulse_csv.COLUMNS[:3])
        turned = [replace(period, pulses=period.pulses[::-1]) for period in self.periods]
        commented = ["# amplitude,1,2"]
        for line in pulse_csv.lines(self.periods):
            commented += [line, "# between, rows", "#"]
        for name, text in (
            ("columns in another order, with further ones", "\n".join(pulse_csv.lines(self.periods, shuffled)) + "\n"),
            ("pulses in another order", "\n".join(pulse_csv.lines(turned)) + "\n"),
            ("mark, comments and carriage returns, open end", "\ufeff" + "\r\n".join(commented[:-1])),
        ):
            with self.subTest(name):
                path.write_bytes(text.encode())
                self.assertEqual(self.evaluate(path, "--json"), self.expected)

    def test_language_of_the_user(self):
        path = self.write(self.periods)
        self.assertEqual(self.evaluate(path, "--json", LANG="de_DE.UTF-8", LC_ALL="de_DE.UTF-8"), self.expected)


class Output(EvaluateCase):
    def setUp(self):
        super().setUp()
        self.path = self.write(pulse_csv.random_measurement(seed=6, count=150))
        self.jsonl = self.evaluate(self.path, "--output", "jsonl")
        self.readings = readings.from_jsonl(self.jsonl)

    def test_order_repeats_itself(self):
        keys = [readings.key(reading) for reading in self.readings]
        self.assertEqual(keys, sorted(set(keys)))
        for _ in range(5):
            self.assertEqual(self.evaluate(self.path, "--json"), self.jsonl)

    def test_csv_carries_the_same_doubles(self):
        self.assertEqual(readings.from_csv(self.evaluate(self.path, "--output", "csv")), self.readings)

    def test_table_shows_the_same_readings(self):
        table = readings.from_table(self.evaluate(self.path, "--output", "table"), ("qiec", "qmax"))
        self.assertEqual(list(table), [readings.key(reading) for reading in self.readings])
        for reading in self.readings:
            cells = table[readings.key(reading)]
            for value in list(reading.values())[3:]:
                self.assertTrue(any(readings.same_value(cell, value, 1e-3) for cell in cells), (reading, cells))

    def test_summary_is_a_message(self):
        path = self.write([pulse_csv.Period(index=index, pd_calibration=2.0, pulses=[(9, 50, 0, 0)] * 3)
                           for index in range(17)])
        result = nox.run("evaluate", path, "--json")
        self.assertEqual(len(readings.from_jsonl(result.stdout)), 17 + 1)
        for figure in (r"(?<!\d)17(?!\d)", r"(?<!\d)51(?!\d)", r"\bpC\b"):
            self.assertRegex(result.stderr, figure)

    def test_unknown_evaluators_are_named_once(self):
        result = nox.run("evaluate", self.path, "--json", "--evaluators", "qiec;nonesuch;qmax;another")
        self.assertEqual((result.status, result.stdout), (0, self.jsonl))
        naming = [line for line in result.messages() if "nonesuch" in line or "another" in line]
        self.assertEqual(len(naming), 1, result.stderr)
        self.assertRegex(naming[0], "nonesuch.*another")
        result = nox.run("evaluate", self.path, "--json", "--evaluators", "nonesuch")
        self.assertIn((result.status, result.stdout), ((1, ""), (2, "")))
        self.assertIn("nonesuch", result.stderr)

    def test_readings_that_cannot_be_written(self):
        with open("/dev/full", "wb") as full:
            result = nox.run("evaluate", self.path, "--json", stdout=full)
        self.assertEqual((result.status, len(result.messages())), (1, 1))


class KnownFigures(EvaluateCase):
    # IEC 60270: reading in percent of the pulses' charge against pulses a second
    WEIGHTING = {1: (35, 45), 2: (55, 65), 5: (76, 86), 10: (85, 95), 50: (94, 104), 100: (95, 105), 250: (95, 105)}

    def test_reading_of_a_pulse_train(self):
        for mains_hz in (50, 60):
            for pulses_per_second, (low, high) in self.WEIGHTING.items():
                with self.subTest(mains_hz=mains_hz, pulses_per_second=pulses_per_second):
                    path = self.write(pulse_csv.pulse_train(pulses_per_second, mains_hz, seconds=30))
                    found = readings.from_jsonl(self.evaluate(path, "--json", "--evaluators", "qiec"))
                    self.assertEqual(len(found), 30 * mains_hz)
                    steady = [reading["Value"] for reading in found[20 * mains_hz:]]
                    self.assertTrue(low <= min(steady) and max(steady) <= high, (min(steady), max(steady)))

    def test_switchgear(self):
        path = nox.shared_data("switchgear", "pulses.csv")
        if not path:
            self.skipTest("the measured data are not here; NOX_SHARED_DATA names their folder")
        found = self.assert_as_model(path)
        qiec = [reading for reading in found if reading["processor"] == "qiec"]
        qmax = [reading for reading in found if reading["processor"] == "qmax"][-1]
        self.assertEqual([reading["period"] for reading in qiec], list(range(496)))
        self.assertAlmostEqual(qiec[-1]["Value"], 238.809, delta=0.001)
        for name, value in (("AbsoluteMaximumValue", 240), ("AbsoluteMinimumValue", 350), ("AbsolutePeakValue", 350)):
            self.assertAlmostEqual(qmax[name], value, delta=1e-6)
        self.assertEqual({reading["Unit"] for reading in found}, {"mV"})


class Memory(EvaluateCase):
    def test_does_not_grow_with_the_measurement(self):
        # An address sanitizer keeps freed memory back for a while, which is not the program's doing.
        checks = {"ASAN_OPTIONS": os.environ.get("ASAN_OPTIONS", "") + ":quarantine_size_mb=1"}
        peaks = []
        for pulses in (100_000, 1_000_000):
            path = self.write(pulse_csv.bulk(pulses))
            peaks.append(nox.peak_memory("evaluate", path, "--json", **checks))
        self.assertLess(peaks[1] - peaks[0], 64 * 2**20)


if __name__ == "__main__":
    unittest.main()
