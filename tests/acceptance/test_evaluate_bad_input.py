"""What `nox evaluate` says about files and command lines that it cannot use."""
import re
import tempfile
import unittest
from pathlib import Path

import model
import nox
import pulse_csv
import readings

COLUMNS = pulse_csv.COLUMNS
TOO_FAR = ("9007199254740993", "-9007199254740993", "x", "0.5", "")
NOT_A_FACTOR = ("nan", "inf", "-inf", "1e999", "x", "")
NOT_INT32 = ("2147483648", "-2147483649", "99999999999999999999", "x", "1.5", "0x10", "1 2", "", "\x1b[31m4")

BAD_FIELDS = {
    "channel": ("-1", "2147483648", "4294967296", "x", "1.5", ""),
    "period": ("-1", "9007199254740993", "18446744073709551619", "x", ""),
    "start_ticks": TOO_FAR,
    "end_ticks": TOO_FAR,
    "sample_rate": ("-1", "4294967296", "x", ""),
    "pd_correction": NOT_A_FACTOR,
    "pd_calibration": NOT_A_FACTOR[:2],
    "tv_correction": NOT_A_FACTOR[1:4],
    "tv_calibration": NOT_A_FACTOR[3:],
    "period_flags": ("-1", "4294967296", "x", ""),
    "time_ticks": ("59999", "80001", "99999999999999999999", "x", ""),
    "amplitude": NOT_INT32,
    "voltage": NOT_INT32[:4],
    "flags": ("-1", "256", "x", ""),
}

ANOTHER = {"start_ticks": "60001", "end_ticks": "79999", "sample_rate": "999999", "pd_correction": "0.2",
           "pd_calibration": "1.0", "tv_correction": "2.0", "tv_calibration": "1.0", "period_flags": "1"}


def head():
    """Whole periods, so that the first line that a test adds is the 38th."""
    return [pulse_csv.Period(channel=channel, index=index, start=index * 20000, end=index * 20000 + 20000,
                             pulses=[(index * 20000 + i, 1000 * (index + 1) + i, 0, 0) for i in range(4)])
            for index in range(3) for channel in range(3)]


def row(**changes):
    good = pulse_csv.Period(index=3, start=60000, end=80000, pulses=[(60007, 500000, 0, 0)])
    return ",".join({**dict(zip(COLUMNS, next(good.rows()))), **changes}.values())


def empty(**changes):
    return row(time_ticks="", amplitude="", voltage="", flags="", **changes)


def field_cases():
    for column, values in BAD_FIELDS.items():
        for value in values:
            yield f"{column} {value!r}", [row(**{column: value})], [column]
            yield f"{column} {value!r} in a later row", [row(), row(**{column: value})], [column]


def disagreement_cases():
    for column, value in ANOTHER.items():
        yield f"disagrees in {column}", [row(), row(**{column: value})], [column]
        yield f"disagrees in {column} at first", [row(**{column: value}), row()], [column]


# The last row of each case is the bad one; columns that a message may name, none where it need not name one.
STRUCTURE_CASES = (
    ("another channel between", [row(), row(channel="1"), row()], ["channel", "period"]),
    ("another period between", [row(), row(period="4"), row()], ["period"]),
    ("period of the past", [row(period="1")], ["period"]),
    ("period of the past on another channel", [row(period="4"), row(channel="7")], ["period"]),
    ("empty row after a pulse", [row(), empty()], []),
    ("pulse after an empty row", [empty(), row()], []),
    ("one field too few", [row().rpartition(",")[0]], []),
    ("one field", ["0"], []),
    ("text", ["no row at all"], []),
    ("nothing but commas", ["," * 13], []),
    ("zero byte in a number", [row(amplitude="4\0")], []),
    ("endless number", [row(amplitude="1" * 10_000_000)], []),
    ("endless line", ["x" * 10_000_000], []),
    ("zero bytes", ["\0" * 100], []),
)

HEADER = ",".join(COLUMNS)
BAD_FILES = {
    "empty": b"",
    "blank": b"\n",
    "byte-order mark alone": b"\xef\xbb\xbf",
    "only comments": b"# one\n# two\n",
    "header alone": HEADER.encode() + b"\n",
    "header and comments": b"# one\n" + HEADER.encode() + b"\n# two\n",
    "zero bytes": b"\0" * 5000,
    "endless line": b"x" * 10_000_000,
    "noise": bytes(range(256)) * 20,
}

WRONG_USAGE = (
    ["evaluate"],
    ["evaluate", "{file}", "{file}"],
    ["evaluate", "{file}", "--nonesuch"],
    ["evaluate", "{file}", "--gating", "abc"],
    ["evaluate", "{file}", "--gating", "4"],
    ["evaluate", "{file}", "--gating", "-1"],
    ["evaluate", "{file}", "--gating"],
    ["evaluate", "{file}", "--tau1", "abc"],
    ["evaluate", "{file}", "--tau2", ""],
    ["evaluate", "{file}", "--initial-qiec", "nan"],
    ["evaluate", "{file}", "--phase-offset", "x"],
    ["evaluate", "{file}", "--phase-span", "x"],
    ["evaluate", "{file}", "--channel", "x"],
    ["evaluate", "{file}", "--channel", "-1"],
    ["evaluate", "{file}", "--output", "xml"],
    ["nonesuch"],
)


class BadInput(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)
        self.path = self.folder / "bad.csv"
        self.good = model.evaluate(pulse_csv.write(self.folder / "good.csv", head()))

    def assert_refused(self, result, path, line=None, columns=()):
        self.assertEqual(result.status, 1, result.stderr[:500])
        self.assertEqual(len(result.messages()), 1, result.stderr[:500])
        message = result.messages()[0]
        self.assertLess(len(message), 1000)
        self.assertTrue(message.isprintable(), repr(message))
        self.assertIn(path.name, message)
        rest = message.replace(str(path), "").replace(path.name, "")
        if line:
            self.assertRegex(rest, rf"(?<![\w.]){line}(?![\w])")
        if columns:
            self.assertRegex(rest, rf"\b({'|'.join(columns)})\b")

    def assert_only_good_readings(self, stdout):
        found = readings.from_jsonl(stdout)
        self.assertIsNone(readings.first_difference(found, self.good[:len(found)]))

    def check_rows(self, cases, before="", line_end="\n"):
        """Each case adds rows to good ones, the last of them bad; a good one follows, which must not be reached."""
        text = list(pulse_csv.lines(head()))
        for name, rows, columns in cases:
            with self.subTest(name):
                lines = [*before.splitlines(), *text, *rows]
                self.path.write_bytes(line_end.join([*lines, row(period="9"), ""]).encode())
                result = nox.run("evaluate", self.path, "--json")
                self.assert_refused(result, self.path, len(lines), columns)
                self.assert_only_good_readings(result.stdout)

    def test_fields(self):
        self.check_rows(field_cases())

    def test_rows_that_disagree(self):
        self.check_rows(disagreement_cases())

    def test_rows_that_do_not_fit(self):
        self.check_rows(STRUCTURE_CASES)

    def test_comments_and_line_ends_count(self):
        self.check_rows([("after comments", [row(), "# note", row(flags="x")], ["flags"])], before="# a\n# b\n")
        self.check_rows([("carriage returns", [row(), row(flags="x")], ["flags"])], line_end="\r\n")

    def test_last_line_left_open(self):
        lines = [*pulse_csv.lines(head()), row(flags="")]
        self.path.write_text("\n".join(lines))
        result = nox.run("evaluate", self.path, "--json")
        self.assert_refused(result, self.path, len(lines), ["flags"])
        self.assert_only_good_readings(result.stdout)

    def test_missing_columns(self):
        for column in COLUMNS:
            with self.subTest(column):
                columns = [name for name in COLUMNS if name != column]
                self.path.write_text("# note\n" + "\n".join(pulse_csv.lines(head(), columns)) + "\n")
                result = nox.run("evaluate", self.path, "--json")
                self.assert_refused(result, self.path, 2, [column])
                self.assertEqual(result.stdout, "")

    def test_files_without_a_pulse(self):
        for name, content in BAD_FILES.items():
            with self.subTest(name):
                self.path.write_bytes(content)
                result = nox.run("evaluate", self.path, "--json")
                self.assert_refused(result, self.path)
                self.assertEqual(result.stdout, "")

    def test_no_file(self):
        for path in (self.folder / "missing.csv", self.folder):
            with self.subTest(path.suffix):
                result = nox.run("evaluate", path, "--json")
                self.assert_refused(result, path)
                self.assertEqual(result.stdout, "")

    def test_other_outputs_show_nothing_bad(self):
        self.path.write_text("\n".join([*pulse_csv.lines(head()), row(), row(amplitude="x")]) + "\n")
        for output in ("csv", "table"):
            with self.subTest(output):
                result = nox.run("evaluate", self.path, "--output", output)
                self.assert_refused(result, self.path, 39, ["amplitude"])
                self.assertNotRegex(result.stdout, re.compile(r"^\W*3\b", re.MULTILINE))


class CommandLine(unittest.TestCase):
    def test_wrong_usage(self):
        with tempfile.TemporaryDirectory() as folder:
            good = str(pulse_csv.write(Path(folder) / "good.csv", head()))
            for arguments in WRONG_USAGE:
                with self.subTest(arguments=arguments):
                    result = nox.run(*(argument.format(file=good) for argument in arguments))
                    self.assertEqual((result.status, result.stdout), (2, ""), result.stderr)
                    self.assertTrue(result.messages())

    def test_help_and_version(self):
        options = ("--evaluators", "--gating", "--invert", "--phase-offset", "--phase-span", "--ignore-corrections",
                   "--tau1", "--tau2", "--initial-qiec", "--output", "--json", "--channel")
        for arguments, words in ((["--help"], ["evaluate"]), (["evaluate", "--help"], options),
                                 (["--version"], [r"\d+\.\d+\.\d+"])):
            with self.subTest(arguments=arguments):
                result = nox.run(*arguments)
                self.assertEqual(result.status, 0, result.stderr)
                for word in words:
                    self.assertRegex(result.stdout, word)


if __name__ == "__main__":
    unittest.main()
