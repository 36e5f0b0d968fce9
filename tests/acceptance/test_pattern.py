"""Patterns and decisions of inception and extinction against independent models."""
import collections
import csv
import dataclasses
import json
import math
import random
import struct
import tempfile
import unittest
from pathlib import Path

import nox
import pulse_csv
from model import CALIBRATION_THRESHOLD, GATED, SUPPRESSING_GATING

OVERFLOW, DROPPED = -1, (-2, -1)


class PatternModel:
    """Counts by (row, column), one event after the other, by the definition."""

    def __init__(self, size=(400, 300), phase=360.0, charge=1000.0, bipolar=False, log=False):
        self.columns, self.rows = size
        self.bipolar, self.log = bipolar, log
        self.unit = 10.0 ** math.floor(math.log10(charge)) / 100.0 if log else 1.0
        scale = math.log10(max(charge / self.unit, 1.0)) if log else charge
        self.half = self.rows // 2 if bipolar else self.rows
        self.columns_per_degree = self.columns / phase
        self.rows_per_charge = self.half / scale
        self.counts = collections.Counter({DROPPED: 0})

    def add(self, charge, phase):
        q = charge if self.bipolar else abs(charge)
        if self.log:
            q = math.copysign(math.log10(max(abs(q / self.unit), 1.0)), q)
        row = math.trunc(self.half - q * self.rows_per_charge)
        column = math.trunc(phase * self.columns_per_degree)
        if not 0 <= column < self.columns:
            self.counts[DROPPED] += 1
        else:
            self.counts[(row if 0 <= row < self.rows else OVERFLOW, column)] += 1

    def add_period(self, period, gating=0, invert=False, offset=0.0, span=360.0, ignore=False):
        calibrated = abs(period.pd_calibration) > CALIBRATION_THRESHOLD
        scale = 1.0 if ignore else period.pd_correction * (period.pd_calibration if calibrated else 1.0)
        for time, amplitude, _, flags in period.pulses:
            if gating == SUPPRESSING_GATING and flags & GATED:
                continue
            extent = period.end - period.start
            self.add(amplitude * (-scale if invert else scale),
                     (time - period.start) * min(span, 360.0) / extent + offset)


class Criterion:
    def __init__(self, x, y, inception, extinction):
        self.x, self.y, self.thresholds = x, y, (inception, extinction)
        self.window, self.on, self.voltages = [], False, [0.0, 0.0]

    def check(self, charge, voltage):
        self.window = (self.window + [(charge, voltage)])[-self.y:]
        if len(self.window) < self.y:
            return None
        hits = [held for q, held in self.window
                if (self.thresholds[1] > q if self.on else q > self.thresholds[0])]
        if len(hits) < self.x:
            return None
        self.on = not self.on
        self.voltages = [hits[self.x - 1], 0.0] if self.on else [self.voltages[0], hits[self.x - 1]]
        return {"State": "inception" if self.on else "extinction", "InceptionVoltage": self.voltages[0],
                "ExtinctionVoltage": self.voltages[1]}


def png_size(data):
    if data[:8] != b"\x89PNG\r\n\x1a\n":
        raise ValueError("no PNG")
    return struct.unpack(">II", data[16:24])


class FolderCase(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)

    def succeed(self, *arguments, **environment):
        result = nox.run(*arguments, **environment)
        self.assertEqual(result.status, 0, result.stderr)
        return result

    def counts(self, path, *options):
        """The counts that the program writes, and whether they stand in their order."""
        out = self.folder / "pattern.csv"
        self.succeed("pattern", path, "-o", out, *options)
        with open(out, newline="") as file:
            rows = list(csv.reader(file))
        self.assertEqual(rows[0], ["row", "column", "count"])
        places = [(int(row), int(column)) for row, column, _ in rows[1:]]
        self.assertEqual(places, sorted(place for place in places if place[0] >= 0) +
                         sorted(place for place in places if place[0] == OVERFLOW) + [DROPPED])
        return {place: int(row[2]) for place, row in zip(places, rows[1:])}


class Patterns(FolderCase):
    def periods(self, seed):
        """Charges on, between and beyond the rows, of all signs; one unit."""
        rng = random.Random(seed)
        for index in range(60):
            start = index * 20000
            pulses = [(start + rng.randint(0, 20000),
                       rng.choice((-1, 1)) * rng.choice((0, rng.randint(0, 12000), int(10 ** rng.uniform(0, 5)))),
                       0, rng.choice((0, 0, GATED))) for _ in range(rng.randint(0, 80))]
            yield pulse_csv.Period(channel=index % 2, index=index, start=start, end=start + 20000,
                                   pd_correction=(0.1, 0.37)[index % 2], pd_calibration=1.0, pulses=pulses)

    def test_equal_the_model_cell_for_cell(self):
        cases = (
            ([], {}, {}),
            (["--bipolar"], {"bipolar": True}, {}),
            (["--log"], {"log": True}, {}),
            (["--log", "--bipolar", "--size=97x31"], {"log": True, "bipolar": True, "size": (97, 31)}, {}),
            (["--log", "--size", "5x2000"], {"log": True, "size": (5, 2000)}, {}),
            (["--size", "1x1", "--scale-phase", "90"], {"size": (1, 1), "phase": 90.0}, {}),
            (["--scale-phase", "720", "--gating", "3", "--bipolar", "--invert"], {"phase": 720.0, "bipolar": True},
             {"gating": 3, "invert": True}),
            (["--phase-offset", "90", "--phase-span", "180"], {}, {"offset": 90.0, "span": 180.0}),
            (["--phase-offset=-120", "--ignore-corrections"], {}, {"offset": -120.0, "ignore": True}),
        )
        for seed, (options, geometry, building) in enumerate(cases):
            with self.subTest(options=options):
                periods = list(self.periods(seed))
                path = pulse_csv.write(self.folder / "pulses.csv", periods)
                for charge in (1000.0, 777.7):
                    model = PatternModel(charge=charge, **geometry)
                    for period in periods:
                        model.add_period(period, **building)
                    self.assertEqual(self.counts(path, f"--scale-charge={charge}", *options), dict(model.counts))

    def test_channel_and_span_choose_periods(self):
        periods = list(self.periods(seed=99))
        path = pulse_csv.write(self.folder / "pulses.csv", periods)
        model = PatternModel()
        for period in periods:
            if period.channel == 1 and 20000 * 10 <= period.start < 20000 * 40:
                model.add_period(period)
        # The span counts from the first period of the channel, which is the second of all.
        self.assertEqual(self.counts(path, "--scale-charge=1000", "--channel=1", "--span=180ms:780ms"),
                         dict(model.counts))

    def test_a_clock_that_begins_anew_costs_no_period(self):
        periods = list(self.periods(seed=9))
        shift = 3 * periods[0].sample_rate
        again = [dataclasses.replace(period, start=period.start - shift, end=period.end - shift,
                                     pulses=[(time - shift, *rest) for time, *rest in period.pulses])
                 if period.index >= 30 else period for period in periods]
        pulses = pulse_csv.write(self.folder / "pulses.csv", periods)
        steps = pulse_csv.write(self.folder / "steps.csv", again)
        recording = self.folder / "steps.pdr"
        self.succeed("import", steps, recording)
        for span in ([], ["--span=0:1"], ["--span=1:2"]):
            with self.subTest(span=span):
                wanted = self.counts(pulses, "--scale-charge=1000", *span)
                self.assertEqual(self.counts(recording, "--scale-charge=1000", *span), wanted)
                if not span:
                    self.assertEqual(self.counts(steps, "--scale-charge=1000"), wanted)

    def test_a_recording_is_built_as_it_was_recorded(self):
        recording, pulses = self.folder / "a.pdr", self.folder / "a.csv"
        self.succeed("measure", "simulator:?channels=2&speed=0&seed=3", "--periods=50", "--record", recording, "--invert",
                     "--phase-offset=90", "--json")
        self.succeed("export", recording, "--pulses", "-o", pulses)
        words = ["--bipolar", "--scale-charge=2000"]
        self.assertEqual(self.counts(recording, *words),
                         self.counts(pulses, *words, "--invert", "--phase-offset=90"))
        self.assertEqual(self.counts(recording, *words, "--phase-offset=10"),
                         self.counts(pulses, *words, "--invert", "--phase-offset=10"))
        told = nox.run("pattern", recording, "-o", self.folder / "x.csv").stderr
        self.assertIn(" 1.00 s;", told)

    def test_default_scale_holds_every_charge(self):
        # A saturated series ends at a round number, which is where the last row of an axis would end too.
        saturated = [pulse_csv.Period(channel=0, index=0, start=0, end=20000, pd_correction=1.0, pd_calibration=1.0,
                                      pulses=[(5000, 1000, 0, 0), (15000, -1000, 0, 0)])]
        for name, periods in (("random", self.periods(seed=5)), ("saturated", saturated)):
            path = pulse_csv.write(self.folder / "pulses.csv", periods)
            for log in ([], ["--log"]):
                with self.subTest(series=name, options=log):
                    counts = self.counts(path, "--bipolar", *log)
                    self.assertFalse([place for place in counts if place[0] == OVERFLOW])

    def test_measured_switchgear_shows_two_lobes(self):
        path = nox.shared_data("switchgear", "pulses.csv")
        if path is None:
            self.skipTest("the measured data is not at hand")
        # Beyond the noise at the bottom; the maker's cycle has its lobes behind the zero crossings.
        counts = self.counts(path, "--size=36x50", "--scale-charge=500")
        by_column = collections.Counter()
        for (row, column), count in counts.items():
            if 0 <= row < 43:
                by_column[column] += count
        inside = sum(by_column[column] for column in (*range(0, 13), *range(18, 31)))
        self.assertEqual(sum(counts.values()), 5110)
        self.assertGreater(inside, 0.97 * sum(by_column.values()))
        self.assertGreater(sum(by_column[c] for c in range(0, 13)), 500)
        self.assertGreater(sum(by_column[c] for c in range(18, 31)), 500)

    def test_picture_without_a_display(self):
        path = pulse_csv.write(self.folder / "pulses.csv", self.periods(seed=3))
        pictures = set()
        for options in ([], ["--log"], ["--bipolar", "--log", "--palette=rainbow"], ["--palette=greys"],
                        ["--size=1500x1000"]):
            out = self.folder / "pattern.png"
            result = self.succeed("pattern", path, "-o", out, *options, DISPLAY="", QT_QPA_PLATFORM="xcb")
            self.assertEqual(len(result.messages()), 1, result.stderr)
            data = out.read_bytes()
            width, height = png_size(data)
            self.assertGreaterEqual((width, height), (1800, 1300) if "--size=1500x1000" in options else (1200, 800))
            pictures.add(data)
        self.assertEqual(len(pictures), 5)

    def test_wrong_words_and_bad_files(self):
        path = pulse_csv.write(self.folder / "pulses.csv", self.periods(seed=1))
        mixed = pulse_csv.write(self.folder / "mixed.csv", [pulse_csv.Period(channel=0),
                                                            pulse_csv.Period(channel=1, flags=4)])
        bad = self.folder / "bad.csv"
        bad.write_text(path.read_text() + "0,many\n")
        out = self.folder / "out.png"
        cases = [(2, [path])] + [(2, [path, "-o", out, option]) for option in (
            "--size=0x5", "--size=5", "--size=65536x1", "--size=65535x65535", "--scale-charge=nan", "--scale-charge=0",
            "--scale-phase=inf", "--palette=mauve", "--span=5", "--span=5:1", "--span=a:b", "--channel=-1")]
        cases += [(2, [path, "-o", self.folder / "out.gif"]), (1, [path, "-o", self.folder / "none" / "out.png"]),
                  (1, [bad, "-o", out]), (1, [mixed, "-o", out]), (1, [path, "-o", out, "--channel=7"]),
                  (1, [self.folder / "missing.csv", "-o", out]), (1, [self.folder / "a.pdr", "-o", out])]
        for status, words in cases:
            with self.subTest(words=words):
                result = nox.run("pattern", *words)
                self.assertEqual((result.status, len(result.messages())), (status, 1), result.stderr)
                self.assertFalse(out.exists())


class Decisions(FolderCase):
    def walk(self, seed, count):
        """Channels whose largest charges walk at random over a grid, so that they often equal a threshold."""
        rng = random.Random(seed)
        levels = [5, 5, 5]
        for index in range(count):
            for channel in range(len(levels)):
                levels[channel] = min(max(levels[channel] + rng.randint(-2, 2), 0), 10)
                pulses = [(index * 20000, rng.choice((-1, 1)) * level * 10, 0, 0)
                          for level in (levels[channel], levels[channel] // 2) if level]
                yield pulse_csv.Period(channel=channel, index=index, start=index * 20000, end=(index + 1) * 20000,
                                       pulses=pulses)

    def test_equal_the_model(self):
        rng = random.Random(8)
        for seed, (x, y, inception, extinction) in enumerate(
                ((1, 1, 5, 5), (3, 5, 6, 4), (5, 5, 4, 6), (2, 20, 8, 1), (1, 50, 7, 2), (4, 3, 1, 1), (7, 9, 0, 10))):
            with self.subTest(x=x, y=y):
                periods = list(self.walk(seed, 400))
                path = pulse_csv.write(self.folder / "pulses.csv", periods)
                voltages = {0: 1.5, **{index: rng.uniform(0, 20) for index in rng.sample(range(400), 150)}}
                lines = [f"{index},{voltage!r}\n" for index, voltage in sorted(voltages.items())]
                table = self.folder / "voltages.csv"
                table.write_text("# by hand\nperiod,voltage\n" + "".join(lines))
                expected, criteria, voltage = [], {}, 0.0
                for period in periods:
                    voltage = voltages.get(period.index, voltage)
                    criterion = criteria.setdefault(period.channel, Criterion(x, y, inception, extinction))
                    charge = max((abs(amplitude * 0.1) for _, amplitude, _, _ in period.pulses), default=0.0)
                    decision = criterion.check(charge, voltage)
                    if decision:
                        expected.append({"period": period.index, "channel": period.channel,
                                         "processor": "inceptionextinction", **decision})
                result = self.succeed("evaluate", path, "--evaluators", "inceptionextinction", "--criterion",
                                      f"{x}/{y}:{inception}:{extinction}", "--voltages", table, "--json")
                self.assertEqual([json.loads(line) for line in result.stdout.splitlines()], expected)
                self.assertEqual(bool(expected), x <= y)

    def test_live_decisions_carry_the_voltage_of_the_simulator(self):
        result = self.succeed("measure", "simulator:?speed=0&channels=1&source=void&voltage-profile=0:0,4:20,8:0",
                              "--periods", "400", "--evaluators", "inceptionextinction", "--criterion", "3/5:20:10",
                              "--json")
        decisions = [json.loads(line) for line in result.stdout.splitlines()]
        self.assertEqual([decision["State"] for decision in decisions[:1] + decisions[-1:]],
                         ["inception", "extinction"])
        self.assertGreater(decisions[0]["InceptionVoltage"], 1.0)
        self.assertEqual(decisions[0]["ExtinctionVoltage"], 0.0)
        self.assertGreater(decisions[-1]["ExtinctionVoltage"], 0.0)

    def test_wrong_words_and_bad_voltages(self):
        path = pulse_csv.write(self.folder / "pulses.csv", self.walk(1, 20))
        words = ["evaluate", path, "--evaluators", "inceptionextinction"]
        for criterion in ("0/3:1:1", "3/0:1:1", "1/1000001:1:1", "1/2:x:1", "1/2:nan:1", "1/2:1", "1:2:3", "-1/2:1:1",
                          "99999999999/2:1:1"):
            result = nox.run(*words, f"--criterion={criterion}")
            self.assertEqual((result.status, len(result.messages())), (2, 1), criterion)
        self.assertEqual(nox.run(*words).status, 2, "without a criterion")
        table = self.folder / "voltages.csv"
        for text in ("", "period;voltage\n", "period,voltage\n1\n", "period,voltage\n5,1\n5,2\n",
                     "period,voltage\n1,inf\n", "period,voltage\n-1,1\n", "period,voltage\n1,1\0\n"):
            table.write_text(text)
            result = nox.run(*words, "--criterion=1/2:1:1", "--voltages", table)
            self.assertEqual((result.status, len(result.messages())), (1, 1), text)
        self.assertEqual(nox.run(*words, "--criterion=1/2:1:1", "--voltages", self.folder / "none").status, 1)


if __name__ == "__main__":
    unittest.main()
