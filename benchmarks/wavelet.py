#!/usr/bin/env python3
"""Measures the denoising of 10^6 samples against PyWavelets, which does the same transform, threshold and inverse.

Prints a row `what | measured ratio | limit | verdict` each; exit status 1 when a limit is missed."""
import statistics
import subprocess
import sys
import time

import numpy
import pywt

SAMPLES, LEVEL, ROUNDS, PASSES, LIMIT = 1_000_000, 5, 15, 3, 0.22
WAVELETS = ("db4", "sym8", "coif3")


def row(wavelet):
    return f"wavelet: denoising 10^6 samples with {wavelet}, {LEVEL} levels / PyWavelets"


def peer_milliseconds(wavelet, samples):
    times = []
    for _ in range(PASSES):
        begin = time.perf_counter()
        values = samples.astype(float)
        threshold = values.std() * numpy.sqrt(2 * numpy.log(len(values)))
        bands = pywt.wavedec(values, wavelet, mode="symmetric", level=LEVEL)
        bands = [pywt.threshold(band, threshold, "soft") for band in bands]
        pywt.waverec(bands, wavelet, mode="symmetric")[:len(values)].astype(numpy.int32)
        times.append((time.perf_counter() - begin) * 1000)
    return statistics.median(times)


def main():
    program, text = sys.argv[1], sys.argv[2] if len(sys.argv) > 2 else ""
    wanted = [wavelet for wavelet in WAVELETS if text in row(wavelet)]
    if not wanted:
        return 0
    print("measuring:", *map(row, wanted), sep="\n", file=sys.stderr)
    chance = numpy.random.default_rng(1)
    place = numpy.arange(SAMPLES) / SAMPLES
    samples = (1e6 * numpy.exp(-3 * place) * numpy.cos(60 * place) + chance.normal(0, 2e3, SAMPLES)).astype(numpy.int32)
    ratios = {wavelet: [] for wavelet in wanted}
    for _ in range(ROUNDS):
        printed = subprocess.run([program, "--denoising"], check=True, capture_output=True, text=True).stdout
        own = {line.split()[0]: float(line.split()[1]) for line in printed.splitlines()}
        for wavelet in wanted:
            ratios[wavelet].append(own[wavelet] / peer_milliseconds(wavelet, samples))
    met = True
    for wavelet in wanted:
        ratio = statistics.median(ratios[wavelet])
        met = met and ratio <= LIMIT
        print(f"{row(wavelet)} | {ratio:.3g} | <= {LIMIT:g} | {'ok' if ratio <= LIMIT else 'MISSED'}", flush=True)
    return 0 if met else 1


if __name__ == "__main__":
    sys.exit(main())
