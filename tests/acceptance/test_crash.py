"""What a crash or a bad disk leaves of a recording: every file opens or comes back, and says what it lost.

NOX_CRASH_KILLS and NOX_CRASH_FILES set how many of each are tried."""
import hashlib
import json
import os
import random
import shutil
import signal
import subprocess
import tempfile
import time
import unittest
from pathlib import Path

KILLS = int(os.environ.get("NOX_CRASH_KILLS", "20"))
FILES = int(os.environ.get("NOX_CRASH_FILES", "500"))
AT_ONCE = {"flat": 5, "paced": 10}
BLOCKS = "pd_replay_period_blocks"
PAGE = 16384


def helper():
    return os.environ["NOX_RECORD_FLAT_OUT"]


def check(cache, *paths):
    done = subprocess.run([helper(), "check", str(cache), *map(str, paths)], capture_output=True, timeout=600)
    if done.returncode != 0:
        raise AssertionError(f"ended with status {done.returncode}: {done.stderr[-2000:]!r}")
    return [json.loads(line) for line in done.stdout.splitlines()], done.stderr.decode(errors="replace")


class Recording:
    """A process that records until it is killed, what it says going into a file."""

    def __init__(self, folder, number, mode):
        self.path = folder / f"{mode}{number}.pdr"
        self.said = folder / f"{mode}{number}.txt"
        with open(self.said, "wb") as said:
            self.process = subprocess.Popen([helper(), "record", str(self.path), mode], stdout=said,
                                            stderr=subprocess.DEVNULL)

    def has_begun(self):
        return self.said.stat().st_size > 0

    def kill(self):
        self.process.send_signal(signal.SIGKILL)
        self.killed = time.clock_gettime(time.CLOCK_MONOTONIC)
        return self.process.wait(timeout=60)

    def handed_over(self, before=0.0):
        """How many blocks were handed over at least so many seconds before the kill."""
        lines = self.said.read_bytes().split(b"\n")[:-1]
        return sum(float(line.split()[0]) <= self.killed - before for line in lines)


class Crash(unittest.TestCase):
    def setUp(self):
        scratch = "/dev/shm" if os.access("/dev/shm", os.W_OK) else None
        folder = tempfile.TemporaryDirectory(dir=scratch)
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)
        self.random = random.Random(20)

    def kill_while_recording(self, mode, longest):
        """(blocks expected, blocks there) of each file."""
        counts = []
        for first in range(0, KILLS, AT_ONCE[mode]):
            running = [Recording(self.folder, first + i, mode) for i in range(min(AT_ONCE[mode], KILLS - first))]
            deadline = time.monotonic() + 60
            while not all(recording.has_begun() for recording in running):
                self.assertLess(time.monotonic(), deadline, "no recording has begun")
                time.sleep(0.005)
            begun = time.monotonic()
            for wait, recording in sorted((self.random.uniform(1.0, longest), i) for i in range(len(running))):
                time.sleep(max(0.0, begun + wait - time.monotonic()))
                self.assertEqual(running[recording].kill(), -signal.SIGKILL)
            for recording in running:
                before = hashlib.sha256(recording.path.read_bytes()).digest()
                (told,), _ = check(self.folder / "cache", recording.path)
                self.assertEqual(hashlib.sha256(recording.path.read_bytes()).digest(), before, told)
                self.assertEqual([told.get(key) for key in ("error", "half", "damaged", "unknown")], ["", 0, 0, 0], told)
                self.assertLessEqual(told["missing"], told.get("found", 0) - told.get("restored", 0), told)
                counts.append((recording.handed_over(1.0), told["kinds"].get(BLOCKS, 0), told))
                self.assertLessEqual(counts[-1][1], recording.handed_over() + 4, "no more than was handed over")
                recording.path.unlink()
        expected, there = sum(count[0] for count in counts), sum(min(count[:2]) for count in counts)
        recovered = sum("copy" in count[2] for count in counts)
        print(f"{mode}: {len(counts)} killed, {recovered} recovered, {there} of {expected} blocks there")
        self.assertGreater(expected, 0)
        return expected, there

    def test_killed_at_the_pace_of_a_measurement(self):
        expected, there = self.kill_while_recording("paced", 4.0)
        self.assertEqual(there, expected)

    def test_killed_flat_out(self):
        expected, there = self.kill_while_recording("flat", 1.5)
        self.assertGreaterEqual(there, 0.999 * expected)

    def damage(self, content):
        content = bytearray(content)
        kind = self.random.choice(("bytes", "cut", "pages", "zeros"))
        if kind == "bytes":
            for _ in range(self.random.choice((1, 10, 1000))):
                content[self.random.randrange(len(content))] ^= self.random.randrange(1, 256)
        elif kind == "cut":
            del content[self.random.randrange(len(content)):]
        else:
            pages = len(content) // PAGE
            for _ in range(self.random.choice((1, 3))):
                a, b = (self.random.randrange(pages) * PAGE for _ in range(2))
                one, other = content[a:a + PAGE], content[b:b + PAGE]
                content[a:a + PAGE] = other if kind == "pages" else bytes(PAGE)
                if kind == "pages":
                    content[b:b + PAGE] = one
        return bytes(content)

    def test_damaged_at_random(self):
        recording = Recording(self.folder, 0, "paced")
        deadline = time.monotonic() + 60
        while not recording.path.exists() or recording.path.stat().st_size < 60 * PAGE:
            self.assertLess(time.monotonic(), deadline, "nothing is recorded")
            time.sleep(0.05)
        recording.kill()
        good = recording.path.read_bytes()
        opened = 0
        for first in range(0, FILES, 50):
            folder = self.folder / "damaged"
            folder.mkdir()
            hashes = {}
            for number in range(first, min(first + 50, FILES)):
                path = folder / f"{number}.pdr"
                path.write_bytes(self.damage(good))
                hashes[path] = hashlib.sha256(path.read_bytes()).digest()
            told, messages = check(self.folder / "cache", *hashes)
            self.assertEqual([one["file"] for one in told], [str(path) for path in hashes], messages)
            for one in told:
                self.assertLess(one["seconds"], 10.0, one)
                self.assertEqual("kinds" in one, one["error"] == "", one)
                self.assertNotIn("\n", one["error"])
                self.assertEqual(one.get("half", 0), 0, one)
                opened += one["error"] == ""
            for path, before in hashes.items():
                self.assertEqual(hashlib.sha256(path.read_bytes()).digest(), before, path)
            shutil.rmtree(folder)
        print(f"damaged: {opened} of {FILES} opened")
        self.assertGreater(opened, FILES // 2)


if __name__ == "__main__":
    unittest.main()
