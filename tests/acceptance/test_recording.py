"""Records with `nox measure`, plays back with `nox replay`, and takes recordings apart, from outside."""
import csv
import ctypes
import hashlib
import io
import json
import os
import resource
import signal
import sqlite3
import subprocess
import tempfile
import time
import unittest
from pathlib import Path

import nox
import readings

FAST = "simulator:?channels=3&speed=0&seed={seed}&voltage-profile=0:15"


def fingerprint(path):
    return hashlib.sha256(Path(path).read_bytes()).hexdigest()


class Recording(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)

    def record(self, name, *options, seed=7, periods=120, status=0):
        """Readings of a measurement that was recorded into the file."""
        path = self.folder / name
        result = nox.run("measure", FAST.format(seed=seed), "--periods", periods, "--record", path, "--json", *options)
        self.assertEqual(result.status, status, result.stderr)
        return path, result.stdout

    def replay(self, path, *options, status=0):
        result = nox.run("replay", path, "--speed", 0, "--json", *options)
        self.assertEqual(result.status, status, result.stderr)
        return result

    def info(self, path, status=0):
        result = nox.run("info", path, "--json")
        self.assertEqual(result.status, status, result.stderr)
        return json.loads(result.stdout)

    def test_replayed_readings_are_the_live_ones(self):
        table = [(1, ()), (2, ("--evaluators", "qmax;frequency;qiec")), (3, ("--gating", 3, "--invert")),
                 (4, ("--tau1", 0.2, "--tau2", 0.3, "--initial-qiec", 50)), (5, ("--phase-offset", 90)),
                 (6, ("--ignore-corrections", "--phase-span", 180)),
                 (7, ("--evaluators", "inceptionextinction;qiec", "--criterion", "2/5:80:60"))]
        for seed, options in table:
            with self.subTest(options=options):
                path, live = self.record(f"{seed}.pdr", *options, seed=seed)
                self.assertTrue(live)
                self.assertEqual(self.replay(path).stdout, live)
                again = self.folder / f"{seed}-again.pdr"
                measured = nox.run("measure", f"replay:{path}?speed=0", "--record", again, "--json")
                self.assertEqual((measured.status, measured.stdout), (0, live), measured.stderr)
                self.assertEqual(self.replay(again).stdout, live)

    def test_options_of_the_replay_override_those_of_the_recording(self):
        path, live = self.record("a.pdr", "--tau1", 0.2)
        _, wanted = self.record("b.pdr", "--evaluators", "qiec")
        self.assertEqual(self.replay(path, "--evaluators", "qiec", "--tau1", 0.44).stdout, wanted)
        self.assertNotEqual(self.replay(path).stdout, wanted)

    def test_pulses_go_round_through_csv(self):
        path, live = self.record("a.pdr")
        pulses = self.folder / "pulses.csv"
        self.assertEqual(nox.run("export", path, "--pulses", "-o", pulses).status, 0)
        self.assertEqual(nox.run("evaluate", pulses, "--json").stdout, live)
        imported = self.folder / "imported.pdr"
        self.assertEqual(nox.run("import", pulses, imported).status, 0)
        self.assertEqual(self.replay(imported).stdout, live)
        self.assertEqual(nox.run("export", imported, "--pulses").stdout, pulses.read_text())
        rows = nox.run("export", path, "--readings").stdout
        self.assertEqual(rows, nox.run("evaluate", pulses, "--output", "csv").stdout)

    def test_a_part_of_a_recording(self):
        path, live = self.record("a.pdr", periods=200)
        whole = [reading for reading in readings.from_jsonl(live) if reading["processor"] == "qiec"]
        # Fifty periods a second; the far end does not belong to the span.
        for span, channels, expected in (("1:2", "", range(50, 100)), (":1", "1", range(0, 50)),
                                         ("3:", "0,2", range(150, 200)), ("2:9", "", range(100, 200))):
            with self.subTest(span=span, channels=channels):
                options = ["--span", span] + (["--channel", channels] if channels else [])
                result = self.replay(path, *options, "--evaluators", "qiec")
                wanted = [int(channel) for channel in channels.split(",")] if channels else [0, 1, 2]
                taken = readings.from_jsonl(result.stdout)
                self.assertEqual([(reading["period"], reading["channel"]) for reading in taken],
                                 [(period, channel) for period in expected for channel in wanted])
                # The filter goes on from the reading before, which is not all of its state.
                self.assertEqual("go on from the recorded" in result.stderr, expected[0] > 0, result.stderr)
                exported = csv.DictReader(io.StringIO(nox.run("export", path, "--pulses", *options).stdout))
                self.assertEqual(sorted({(int(row["period"]), int(row["channel"])) for row in exported}),
                                 [(period, channel) for period in expected for channel in wanted])
        self.assertTrue(whole)
        for options in (("--span", "100:"), ("--channel", "5")):
            self.assertEqual(len(self.replay(path, *options, status=1).messages()), 1)

    def test_what_a_recording_tells(self):
        path, _ = self.record("a.pdr", "--gating", 2)
        told = self.info(path)
        self.assertEqual((told["state"], told["integrity"]["intact"], told["duration"]), ("closed", True, 2.4))
        self.assertEqual([channel["periods"] for channel in told["channels"]], [120, 120, 120])
        self.assertEqual(told["entries"]["pd_time_navigation_element"], 360)
        self.assertEqual(told["header"]["Device_ProductName"], "Simulated instrument")
        self.assertIn("all", nox.run("info", path).stdout)
        actions = list(csv.DictReader(io.StringIO(nox.run("export", path, "--actions").stdout)))
        self.assertIn(("action", "1", "0", "gating", "2"),
                      {(row["kind"], row["channel"], row["period"], row["name"], row["value"]) for row in actions})
        scopes = list(csv.DictReader(io.StringIO(nox.run("export", path, "--scopes").stdout)))
        self.assertEqual({int(row["first_period"]) for row in scopes}, set(range(120)))

    def test_the_file_is_what_the_page_says(self):
        """Reads a recording with nothing but SQLite, the documented columns and the documented checksum."""
        library = ctypes.CDLL("libxxhash.so.0")
        library.XXH3_64bits_withSeed.restype = ctypes.c_uint64

        def checksum_of(data, seed=0):
            return library.XXH3_64bits_withSeed(data, ctypes.c_size_t(len(data)), ctypes.c_uint64(seed))

        path, _ = self.record("a.pdr")
        database = sqlite3.connect(f"file:{path}?mode=ro", uri=True)
        self.assertEqual(database.execute("PRAGMA application_id").fetchone(), (0x4E4F5845,))
        self.assertEqual(database.execute("PRAGMA page_size").fetchone(), (16384,))
        kinds = {row[0]: row[1:] for row in database.execute("SELECT * FROM kind")}
        elements = {}
        for row, kind, number, checksum, data in database.execute("SELECT * FROM entry ORDER BY id"):
            seed = checksum_of(b"".join(value.to_bytes(8, "little") for value in (row, kind, number)))
            self.assertEqual(checksum_of(data, seed), checksum % 2**64)
            name, _, classification, size = kinds[kind]
            if name.startswith("pd_time_navigation_element"):
                for begin in range(0, len(data), size):
                    elements.setdefault(classification, []).append(
                        int.from_bytes(data[begin:begin + 8], "little"))
        self.assertEqual(elements, {f"channel_{channel}": list(range(120)) for channel in range(3)})

    def test_limits(self):
        path, live = self.record("a.pdr", "--record-limit", "1s", periods=150)
        self.assertEqual(self.info(path)["integrity"]["intact"], True)
        self.assertLess(self.info(path)["channels"][0]["periods"], 150)
        path, live = self.record("b.pdr", "--record-limit", "1s,continue", periods=150)
        files = sorted(self.folder.glob("b*.pdr"), key=lambda file: file.stat().st_mtime_ns)
        self.assertGreater(len(files), 1)
        periods = [reading["period"] for file in files
                   for reading in readings.from_jsonl(self.replay(file, "--evaluators", "qiec", "--channel", 0).stdout)]
        self.assertEqual(periods, list(range(150)))
        # Without another end the measurement ends with its recording.
        result = nox.run("measure", FAST.format(seed=1), "--record", self.folder / "c.pdr", "--record-limit", "200kB",
                         "--json")
        self.assertEqual(result.status, 0, result.stderr)
        self.assertIn("limit", result.stderr)

    def test_names(self):
        path, _ = self.record("a.pdr")
        before = fingerprint(path)
        result = nox.run("measure", FAST.format(seed=1), "--periods", 5, "--record", path, "--json")
        self.assertEqual((result.status, result.stdout), (1, ""))
        self.assertIn("This file exists already!", result.stderr)
        self.assertEqual(fingerprint(path), before)
        done = subprocess.run([nox.program(), "measure", FAST.format(seed=1), "--periods", "5", "--record", "my/own:part",
                               "--record-template", "%SERIAL%-%USER_DEFINED%"], cwd=self.folder, capture_output=True)
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertEqual([file.name for file in self.folder.glob("S*")], ["S0001-my_own_part.pdr"])
        self.assertEqual(nox.run("measure", FAST.format(seed=1), "--periods", 5, "--record",
                                 self.folder / "nowhere" / "a.pdr").status, 1)

    def test_the_measurement_goes_on_when_the_recording_cannot(self):
        def limit_files():
            resource.setrlimit(resource.RLIMIT_FSIZE, (3_000_000, 3_000_000))

        path = self.folder / "a.pdr"
        done = subprocess.run([nox.program(), "measure", FAST.format(seed=1), "--periods", "400", "--record", str(path),
                               "--json"], preexec_fn=limit_files, capture_output=True, text=True)
        self.assertEqual(done.returncode, 1)
        self.assertEqual(readings.from_jsonl(done.stdout)[-1]["period"], 399)
        self.assertEqual(done.stderr.count("the recording has ended"), 1, done.stderr)
        self.assertIn("(File too large)", done.stderr)
        self.assertTrue(readings.from_jsonl(self.replay(path).stdout))

        path = self.folder / "b.pdr"
        process = subprocess.Popen([nox.program(), "measure", FAST.format(seed=1).replace("speed=0", "speed=1"),
                                    "--duration", "6s", "--record", str(path), "--json"],
                                   stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        process.stdout.readline()
        path.unlink()
        output, messages = process.communicate(timeout=60)
        self.assertEqual(process.returncode, 1)
        self.assertEqual(messages.count("the recording has ended: the file is gone."), 1, messages)
        self.assertNotIn("recorded in", messages)
        self.assertGreater(readings.from_jsonl(output)[-1]["period"], 290)

    def test_an_interruption_leaves_a_whole_recording_or_nothing(self):
        path = self.folder / "a.pdr"
        process = subprocess.Popen([nox.program(), "measure", "simulator:?channels=2", "--record", str(path), "--json"],
                                   stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        lines = [process.stdout.readline() for _ in range(20)]
        # Another program may look while it is being recorded.
        self.assertEqual(self.info(path)["state"], "being_recorded")
        process.send_signal(signal.SIGINT)
        rest = process.stdout.read()  # communicate() leaves out what readline() has read ahead
        process.communicate(timeout=60)
        self.assertEqual(process.returncode, 0)
        self.assertEqual(self.info(path)["state"], "closed")
        self.assertEqual(self.replay(path).stdout, "".join(lines) + rest)

        recording, _ = self.record("b.pdr", periods=2000)
        pulses = self.folder / "pulses.csv"
        self.assertEqual(nox.run("export", recording, "--pulses", "-o", pulses).status, 0)
        before = set(self.folder.iterdir())
        for words in (["import", pulses, self.folder / "c.pdr"], ["export", recording, "--pulses", "-o", "d.csv"],
                      ["repair", recording, self.folder / "e.pdr"]):
            with self.subTest(words=words[0]):
                process = subprocess.Popen([nox.program(), *map(str, words)], cwd=self.folder, stderr=subprocess.PIPE)
                time.sleep(0.05)
                process.send_signal(signal.SIGTERM)
                process.communicate(timeout=60)
                if process.returncode != 0:
                    self.assertEqual(set(self.folder.iterdir()), before)
                before = set(self.folder.iterdir())

    def test_damage_is_told_and_never_touched(self):
        path, live = self.record("a.pdr", periods=600)
        whole = path.read_bytes()
        damaged = self.folder / "damaged.pdr"
        database = sqlite3.connect(path)
        (blob,) = database.execute("SELECT data FROM entry WHERE kind = (SELECT max(id) FROM kind WHERE type LIKE "
                                   "'%period_block%') LIMIT 1 OFFSET 9").fetchone()
        database.close()
        place = whole.index(blob[-200:]) + 100
        damaged.write_bytes(whole[:place] + bytes([whole[place] ^ 1]) + whole[place + 1:])
        before = fingerprint(damaged)
        told = self.info(damaged, status=1)["integrity"]
        self.assertEqual((told["intact"], told["damaged"], len(told["first_damaged"])), (False, 1, 1))
        replayed = nox.run("replay", damaged, "--speed", 0, "--json")
        self.assertEqual(replayed.status, 0, replayed.stderr)
        self.assertIn("1 entries are damaged", replayed.stderr)
        self.assertGreaterEqual(len(replayed.stdout.splitlines()), len(live.splitlines()) - 4)
        for table, sentence in ("--pulses", "periods are damaged and left out"), ("--actions", "1 entries are damaged"):
            result = nox.run("export", damaged, table)
            self.assertEqual((result.status, len(result.messages())), (0, 1), result.stderr)
            self.assertIn(sentence, result.stderr)

        cut = self.folder / "cut.pdr"
        cut.write_bytes(whole[:len(whole) * 2 // 3])
        result = nox.run("repair", cut, self.folder / "fixed.pdr")
        self.assertEqual(result.status, 0, result.stderr)
        self.assertTrue(self.info(self.folder / "fixed.pdr")["integrity"]["intact"])
        opened = self.replay(cut)
        rows = self.info(path)["integrity"]["rows"]
        self.assertRegex(opened.stderr, f"the recording is damaged: \\d+ of {rows} entries came back")
        self.assertTrue((self.folder / "cut.recovered.pdr").exists())
        self.assertEqual(self.replay(self.folder / "fixed.pdr").stdout, opened.stdout)
        self.assertEqual(fingerprint(damaged), before)

        other = self.folder / "other.pdr"
        sqlite3.connect(other).execute("CREATE TABLE entry(id)").connection.close()
        text = self.folder / "text.pdr"
        text.write_text("no recording\n" * 1000)
        (self.folder / "empty.pdr").touch()
        os.mkfifo(self.folder / "pipe.pdr")
        for file in (other, text, self.folder / "empty.pdr", self.folder / "pipe.pdr", self.folder / "missing.pdr", self.folder):
            for command in ("info", "replay", "repair", "export"):
                with self.subTest(file=file.name, command=command):
                    more = {"repair": [self.folder / "x.pdr"], "export": ["--pulses"]}.get(command, [])
                    result = nox.run(command, file, *more)
                    self.assertEqual((result.status, result.stdout, len(result.messages())), (1, "", 1), result)
        self.assertFalse((self.folder / "x.pdr").exists())

    def test_what_is_read_is_never_replaced(self):
        path, _ = self.record("a.pdr", periods=20)
        pulses = self.folder / "a.csv"
        self.assertEqual(nox.run("export", path, "--pulses", "-o", pulses).status, 0)
        alias = self.folder / "alias.csv"
        alias.hardlink_to(path)
        table = [["export", path, "--pulses", "-o", path], ["export", path, "--readings", "-o", alias],
                 ["replay", path, "--speed", "0", "--readings", path], ["pattern", pulses, "-o", pulses],
                 ["measure", f"replay:{path}", "--readings", path], ["shot", pulses, "--column", 11, "-o", pulses],
                 ["import", pulses, pulses]]
        before = fingerprint(path), fingerprint(pulses)
        for words in table:
            with self.subTest(words=words):
                result = nox.run(*words)
                self.assertEqual((result.stdout, len(result.messages())), ("", 1), result)
                self.assertNotEqual(result.status, 0)
                self.assertEqual((fingerprint(path), fingerprint(pulses)), before)
        result = nox.run("measure", "simulator:?speed=0", "--periods", 5, "--record", self.folder / "b.pdr", "--readings",
                         self.folder / "b.pdr", "--json")
        self.assertEqual(result.status, 1, result)
        self.assertIn("is the recording.", result.stderr)
        self.info(self.folder / "b.pdr")

    def test_what_a_recording_has_nothing_of(self):
        path, _ = self.record("a.pdr", periods=20)
        for words, sentence in (("--channel", 9), "has no channel 9."), (("--span", "100:"), "no periods in this span."):
            for table in "--pulses", "--scopes", "--actions", "--readings":
                with self.subTest(words=words, table=table):
                    result = nox.run("export", path, table, *words)
                    self.assertEqual(result.status, 1, result)
                    self.assertIn(sentence, result.stderr)

    def test_a_recorded_criterion_is_enough(self):
        path, live = self.record("a.pdr", "--evaluators", "inceptionextinction", "--criterion", "2/5:80:60")
        self.assertTrue(live)
        self.assertEqual(self.replay(path, "--evaluators", "inceptionextinction").stdout, live)
        path, _ = self.record("b.pdr", periods=10)
        for command in (["replay", path], ["export", path, "--readings"], ["measure", f"replay:{path}"]):
            result = nox.run(*command, "--evaluators", "inceptionextinction")
            self.assertEqual((result.status, len(result.messages())), (1, 1), result)
            self.assertIn("give --criterion", result.stderr)

    def test_a_limit_is_not_the_end_of_a_recording(self):
        path, _ = self.record("a.pdr", periods=100)
        for words, has_ended in (["--periods", 10], False), (["--duration", "0.5s"], False), ([], True):
            result = nox.run("measure", f"replay:{path}?speed=0", *words, "--json")
            self.assertEqual((result.status, "the end of the recording" in result.stderr), (0, has_ended), result.stderr)

    def test_wrong_words(self):
        for arguments in (["replay"], ["replay", "a.pdr", "--span", "1"], ["replay", "a.pdr", "--span", "5:1"],
                          ["replay", "a.pdr", "--channel", "x"], ["replay", "a.pdr", "--speed", "fast"],
                          ["export", "a.pdr"], ["export", "a.pdr", "--pulses", "--scopes"],
                          ["export", "a.pdr", "--pulses", "--json"], ["measure", "simulator:", "--record-template", ""], ["import", "a.csv"],
                          ["measure", "simulator:", "--record-limit", "5s"], ["measure", "replay:a.pdr?speed=x"],
                          ["measure", "simulator:", "--record", "a.pdr", "--record-limit", "many"]):
            with self.subTest(arguments=arguments):
                result = nox.run(*arguments)
                self.assertEqual((result.status, result.stdout, len(result.messages())), (2, "", 1), result)


if __name__ == "__main__":
    unittest.main()
