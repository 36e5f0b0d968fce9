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


def head():
    """Whole periods, so that the first line that a test adds is the 38th."""
    return [pulse_csv.Period(channel=channel, index=index, start=index * 20000, end=index * 20000 + 20000,
                             pulses=[(index * 20000 + i, 1000 * (index + 1) + i, 0, 0) for i in range(4)])
            for index in range(3) for channel in range(3)]


def row(**changes):
    good = pulse_csv.Period(index=3, start=60000, end=80000, pulses=[(60007, 500000, 0, 0)])
    return ",".join({**dict(zip(COLUMNS, next(good.rows()))), **changes}.values())


EMPTY = row(time_ticks="", amplitude="", voltage="", flags="")


# The last row of each case is the bad one; columns that a message may name, none where it need not name one.
ROW_CASES = (
    ("channel below its range", [row(channel="-1")], ["channel"]),
    ("period above its range", [row(), row(period="18446744073709551619")], ["period"]),
    ("factor that is no number", [row(pd_correction="nan")], ["pd_correction"]),
    ("time after the period", [row(), row(time_ticks="80001")], ["time_ticks"]),
    ("decimal amplitude", [row(), row(amplitude="1.5")], ["amplitude"]),
    ("colours for the terminal", [row(), row(voltage="\x1b[31m4")], ["voltage"]),
    ("disagrees in a factor", [row(), row(pd_calibration="1.0")], ["pd_calibration"]),
    ("another channel between", [row(), row(channel="1"), row()], ["channel", "period"]),
    ("period of the past", [row(period="1")], ["period"]),
    ("period of the past on another channel", [row(period="4"), row(channel="7")], ["period"]),
    ("empty row after a pulse", [row(), EMPTY], []),
    ("pulse after an empty row", [EMPTY, row()], []),
    ("one field too few", [row().rpartition(",")[0]], []),
    ("text", ["no row at all"], []),
    ("zero byte in a number", [row(amplitude="4\0")], []),
    ("endless number", [row(amplitude="1" * 10_000_000)], []),
    ("endless line", ["x" * 10_000_000], []),
)

BAD_FILES = {
    "empty": b"",
    "byte-order mark alone": b"\xef\xbb\xbf",
    "header and comments": b"# one\n" + ",".join(COLUMNS).encode() + b"\n# two\n",
    "zero bytes": b"\0" * 5000,
    "endless line": b"x" * 10_000_000,
    "noise": bytes(range(256)) * 20,
}

WRONG_USAGE = (
    ["evaluate"], ["evaluate", "{file}", "{file}"], ["nonesuch"],
    *(["evaluate", "{file}", *option] for option in (
        ["--nonesuch"], ["--gating"], ["--gating", "4"], ["--gating", "-1"], ["--tau1", "abc"], ["--tau2", ""],
        ["--initial-qiec", "nan"], ["--phase-span", "x"], ["--channel", "-1"], ["--output", "xml"])),
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

    def check_rows(self, cases, before="", line_end="\n", rest=(row(period="9"), "")):
        """Each case adds rows to good ones, the last of them bad; a good one follows, which must not be reached."""
        text = list(pulse_csv.lines(head()))
        for name, rows, columns in cases:
            with self.subTest(name):
                lines = [*before.splitlines(), *text, *rows]
                self.path.write_bytes(line_end.join([*lines, *rest]).encode())
                result = nox.run("evaluate", self.path, "--json")
                self.assert_refused(result, self.path, len(lines), columns)
                self.assert_only_good_readings(result.stdout)

    def check_unread(self, path, *place):
        result = nox.run("evaluate", path, "--json")
        self.assert_refused(result, path, *place)
        self.assertEqual(result.stdout, "")

    def test_rows(self):
        self.check_rows(ROW_CASES)

    def test_comments_and_line_ends_count(self):
        self.check_rows([("after comments", [row(), "# note", row(flags="x")], ["flags"])], before="# a\n# b\n")
        self.check_rows([("carriage returns", [row(), row(flags="x")], ["flags"])], line_end="\r\n")
        self.check_rows([("last line left open", [row(), row(flags="")], ["flags"])], rest=())

    def test_missing_columns(self):
        for column in ("channel", "pd_correction", "flags"):
            with self.subTest(column):
                columns = [name for name in COLUMNS if name != column]
                self.path.write_text("# note\n" + "\n".join(pulse_csv.lines(head(), columns)) + "\n")
                self.check_unread(self.path, 2, [column])

    def test_files_without_a_pulse(self):
        for name, content in BAD_FILES.items():
            with self.subTest(name):
                self.path.write_bytes(content)
                self.check_unread(self.path)

    def test_no_file(self):
        for path in (self.folder / "missing.csv", self.folder):
            with self.subTest(path.suffix):
                self.check_unread(path)

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
