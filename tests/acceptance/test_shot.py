"""Runs `nox shot` on samples of all forms, and compares its transform with PyWavelets where that is at hand."""
import csv
import io
import math
import random
import struct
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

import nox

# In another interpreter: Debian's packages belong to its own Python.
PEER = """
import json, sys
import numpy, pywt
for line in sys.stdin:
    name, level, values = json.loads(line)
    values = numpy.array(values)
    if level == 0:
        wavelet = pywt.Wavelet(name)
        level = int(numpy.log2(len(values) / (wavelet.dec_len - 1)))
    bands = pywt.wavedec(values, name, mode="symmetric", level=level)
    spread = numpy.sqrt(((values - values.mean()) ** 2).sum() / len(values)) * numpy.sqrt(2 * numpy.log(len(values)))
    shrunk = [pywt.threshold(band, spread, "soft") for band in bands]
    cleaned = pywt.waverec(shrunk, name, mode="symmetric")[:len(values)]
    print(json.dumps([level, [list(band) for band in bands], list(cleaned)]), flush=True)
"""
WAVELETS = (["haar"] + [f"db{n}" for n in range(1, 21)] + [f"sym{n}" for n in range(2, 21)] +
            [f"coif{n}" for n in range(1, 6)] +
            [f"{family}{name}" for family in ("bior", "rbio") for name in
             ("1.1", "1.3", "1.5", "2.2", "2.4", "2.6", "2.8", "3.1", "3.3", "3.5", "3.7", "3.9", "4.4", "5.5", "6.8")])


def open_peer():
    for python in ("/usr/bin/python3", sys.executable):
        if subprocess.run([python, "-c", "import pywt"], capture_output=True).returncode == 0:
            return subprocess.Popen([python, "-c", PEER], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
    return None


def rows_of(text):
    return list(csv.DictReader(io.StringIO(text)))


def npy(values, descr, shape, code, order=False, version=1):
    header = repr({"descr": descr, "fortran_order": order, "shape": shape}).encode()
    size = struct.pack("<H" if version == 1 else "<I", len(header))
    return b"\x93NUMPY" + bytes([version, 0]) + size + header + struct.pack(f"{code[0]}{len(values)}{code[1]}", *values)


class Shot(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)

    def file(self, name, content):
        path = self.folder / name
        path.write_bytes(content if isinstance(content, bytes) else content.encode())
        return path

    def values(self, path, *options, status=0):
        result = nox.run("shot", path, *options)
        self.assertEqual(result.status, status, result.stderr)
        return [float(row["value"]) for row in rows_of(result.stdout)]

    def test_reads_all_forms(self):
        wanted = [3.0, -7.0, 12.0]
        table = [("a.csv", "3\n-7\n12\n", ()), ("b.csv", "# shot\nvolt\n3\n\n-7 # x\n+12", ()),
                 ("c.tsv", "1\t2\t3\n3\t-7\t12\n", ("--row", 1)), ("d.csv", "a;b\n0;3\n0;-7\n0;12\n", ("--column", 1)),
                 ("e.tsv", "3\t-7\t12\n", ()),
                 ("f.npy", npy([3, -7, 12], "<i2", (3,), "<h"), ()), ("g.npy", npy([3, -7, 12], ">f4", (3,), ">f"), ()),
                 ("h.npy", npy([3, -7, 12], "|i1", (1, 3), "<b", version=2), ()),
                 ("i.npy", npy([0, 3, 0, -7, 0, 12], "<f8", (3, 2), "<d", version=3), ("--column", 1)),
                 ("j.npy", npy([1, 2, 4, 3, -7, 12], "<i8", (2, 3), "<q"), ("--row", 1))]
        for name, content, options in table:
            with self.subTest(name=name):
                self.assertEqual(self.values(self.file(name, content), *options), wanted)

    def test_bad_files_are_one_sentence(self):
        good = npy([1, 2, 3], "<i4", (3,), "<i")
        table = [("text", "1\nx\n"), ("names twice", "a\nb\n1\n"), ("empty", ""), ("infinite", "1\ninf\n"),
                 ("table", "1,2\n3,4\n"), ("cut", good[:-1]), ("short header", good[:9]), ("version", good[:6] + b"\x09" + good[7:]),
                 ("objects", npy([1], "|O", (1,), "<i")), ("half", npy([1, 1], "<f2", (2,), "<e")),
                 ("huge", npy([1], "<i4", (10**17, 10**17), "<i")), ("columns first", npy([1, 2], "<i4", (1, 2), "<i", True)),
                 ("long header", b"\x93NUMPY\x02\0" + struct.pack("<I", 2**31) + b"{}")]
        for name, content in table:
            with self.subTest(name=name):
                result = nox.run("shot", self.file("bad", content))
                self.assertEqual((result.status, result.stdout, len(result.messages())), (1, "", 1), result)
        self.assertEqual(nox.run("shot", self.folder / "missing.csv").status, 1)
        for options in ((), ("a", "--denoise", "db4"), ("a", "--peak-width", "5"), ("a", "--zero-crossings", "--transform",
                        "db4:1"), ("a", "--synthetic", "seed=1"), ("--synthetic", "seed=x"), ("a", "--decimate", 0)):
            self.assertEqual(nox.run("shot", *options).status, 2, options)

    def test_reductions_crossings_and_widths(self):
        five = self.file("five.csv", "1\n2\n3\n4\n5\n")
        self.assertEqual(self.values(five, "--decimate", 2), [1.5, 3.5])
        self.assertEqual(self.values(self.file("peak.csv", "3\n-5\n5\n0\n"), "--downsample", 3), [-5])
        self.assertEqual(nox.run("shot", five, "--decimate", 5).status, 1)
        step = self.file("step.csv", "1\n" * 500 + "-1\n" * 500)
        self.assertEqual(rows_of(nox.run("shot", step, "--zero-crossings").stdout), [{"index": "495", "sign": "-1"}])
        width = rows_of(nox.run("shot", self.file("w.csv", "0\n1\n4\n9\n5\n4\n0\n"), "--peak-width", "3:0.5").stdout)
        self.assertEqual(width, [{"index": "3", "level": "0.5", "width": "3"}])

    def test_synthetic_shots_are_the_same_and_drawn(self):
        words = ["--synthetic", "samples=20000,frequency=50,noise=3000,reflections=2,seed=9"]
        first = nox.run("shot", *words)
        self.assertEqual((first.status, first.stdout), (0, nox.run("shot", *words).stdout))
        crossings = rows_of(nox.run("shot", "--synthetic", "samples=20000,frequency=50,noise=0,reflections=0",
                                    "--zero-crossings").stdout)
        self.assertEqual([row["sign"] for row in crossings], ["-1", "1"])  # 20 ms of 50 Hz
        for row, wanted in zip(crossings, (5000, 15000)):
            self.assertLess(abs(int(row["index"]) - wanted), 20)
        picture = self.folder / "shot.png"
        self.assertEqual(nox.run("shot", *words, "--denoise", "db4:5", "-o", picture).status, 0)
        self.assertEqual(picture.read_bytes()[:8], b"\x89PNG\r\n\x1a\n")
        self.assertGreater(picture.stat().st_size, 10_000)

    def test_no_denoising_where_none_can_be(self):
        path = self.file("a.csv", "1\n2\n3\n4\n5\n6\n7\n8\n" * 4)
        for choice in ("db4:3", "nosuch:1", "db4:0", "db4:-2", "sym20:1"):
            with self.subTest(choice=choice):
                result = nox.run("shot", path, "--denoise", choice)
                self.assertEqual((result.status, result.stdout, len(result.messages())), (1, "", 1), result)

    def test_transforms_agree_with_the_peer(self):
        import json
        peer = open_peer()
        if not peer:
            self.skipTest("PyWavelets is not installed")
        self.addCleanup(peer.wait)
        self.addCleanup(peer.stdout.close)
        self.addCleanup(peer.stdin.close)
        chance = random.Random(5)
        for name in WAVELETS:
            for length in (chance.randrange(200, 500), chance.randrange(500, 5000) | 1):
                values = [chance.randrange(-20_000, 20_000) if chance.random() < 0.05 else chance.randrange(-300, 300)
                          for _ in range(length)]
                print(json.dumps([name, 0, values]), file=peer.stdin, flush=True)
                level, bands, cleaned = json.loads(peer.stdout.readline())
                path = self.file("series.csv", "\n".join(map(str, values)))
                with self.subTest(wavelet=name, length=length, level=level):
                    rows = rows_of(nox.run("shot", path, "--transform", f"{name}:{level}").stdout)
                    names = [f"a{level}"] + [f"d{n}" for n in range(level, 0, -1)]
                    largest = max(abs(value) for band in bands for value in band)
                    tolerance = largest * (1e-9 if name in ("sym16", "sym17", "sym18", "sym19", "sym20") else 1e-10)
                    for band, wanted in zip(names, bands):
                        mine = [float(row["value"]) for row in rows if row["band"] == band]
                        self.assertEqual(len(mine), len(wanted))
                        self.assertLess(max(abs(a - b) for a, b in zip(mine, wanted)), tolerance)
                    whole = self.values(path, "--denoise", f"{name}:{level}")
                    for a, b in zip(whole, cleaned):
                        self.assertTrue(a == math.trunc(b) or abs(b - round(b)) < 1e-6, (a, b))


if __name__ == "__main__":
    unittest.main()
