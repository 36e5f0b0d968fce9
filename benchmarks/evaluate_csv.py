#!/usr/bin/env python3
"""Measures `nox evaluate` on a growing file of pulses: its time against pandas' C reader, which only parses the same
file, and its resident memory.

Prints a row `what | ratio | limit | verdict` each; exit status 1 when a limit is missed. Itself it stays small: a
child's peak memory counts from the size of the process that started it.
"""
import argparse
import os
import statistics
import subprocess
import sys
import tempfile
import time

COLUMNS = ("channel,period,start_ticks,end_ticks,sample_rate,pd_correction,pd_calibration,tv_correction,"
           "tv_calibration,period_flags,time_ticks,amplitude,voltage,flags")
CHANNELS = 4
PULSES_OF_PERIOD = 250
PERIOD_TICKS = 2_000_000
SAMPLE_RATE = 100_000_000

SMALL, TIMED, LARGE = 100_000, 2_000_000, 4_000_000
RUNS = 3
TIME_LIMIT = 0.7
MEMORY_LIMIT = 64.0
TIME_ROW = f"csv: evaluate {TIMED} pulses / parse with pandas"
MEMORY_ROW = f"csv: growth of memory from {SMALL} to {LARGE} pulses, MB"


def append_pulses(path, begin, end):
    """Writes pulses `begin` to `end` of an endless file."""
    import random
    chance = random.Random(begin)
    group = CHANNELS * PULSES_OF_PERIOD
    with open(path, "a" if begin else "w", encoding="ascii") as out:
        if begin == 0:
            out.write(COLUMNS + "\n")
        for first in range(begin, end, PULSES_OF_PERIOD):
            period = first // group
            channel = first % group // PULSES_OF_PERIOD
            start = period * PERIOD_TICKS
            head = f"{channel},{period},{start},{start + PERIOD_TICKS},{SAMPLE_RATE},1.0,0.01,1.0,0.05,0,"
            number = chance.random
            out.write("".join(
                f"{head}{start + int(number() * PERIOD_TICKS)},{int((number() - 0.5) * 2e5)},"
                f"{int((number() - 0.5) * 6e4)},0\n" for _ in range(PULSES_OF_PERIOD)))


def grow(path, begin, end):
    print(f"writing pulses {begin} to {end}", file=sys.stderr)
    # In a process of its own, whose memory counts for nobody.
    subprocess.run([sys.executable, __file__, "--append", path, str(begin), str(end)], check=True)


def evaluate(command, path, output=os.devnull):
    """Seconds and the peak of resident memory in MB."""
    begin = time.monotonic()
    with open(output, "w") as out:
        child = subprocess.Popen(command + ["evaluate", path], stdout=out)
        _, status, usage = os.wait4(child.pid, 0)
        child.returncode = os.waitstatus_to_exitcode(status)
    if child.returncode != 0:
        raise RuntimeError(f"exit status {child.returncode}")
    return time.monotonic() - begin, usage.ru_maxrss / 1024


def evaluate_and_look(command, path):
    """The same, provided that something was evaluated."""
    output = path + ".readings"
    measured = evaluate(command, path, output)
    if os.path.getsize(output) == 0:
        raise RuntimeError("no readings")
    return measured


def parse_with_pandas(path):
    """Seconds of reading alone, without starting Python."""
    code = ("import sys, time, pandas\nbegin = time.monotonic()\nframe = pandas.read_csv(sys.argv[1], engine='c')\n"
            "print(time.monotonic() - begin)")
    # Debian's own interpreter, for which Debian's pandas is installed.
    done = subprocess.run(["/usr/bin/python3", "-c", code, path], check=True, capture_output=True, text=True)
    return float(done.stdout)


def print_row(what, measured, limit, met):
    print(f"{what} | {measured} | <= {limit:g} | {'ok' if met else 'MISSED'}", flush=True)
    return met


def measure_time(command, path):
    ratios = []
    for run in range(RUNS):
        print(f"evaluate and pandas, run {run + 1} of {RUNS}", file=sys.stderr)
        seconds, _ = evaluate(command, path)
        ratios.append(seconds / parse_with_pandas(path))
    ratio = statistics.median(ratios)
    return print_row(TIME_ROW, f"{ratio:.3g}", TIME_LIMIT, ratio <= TIME_LIMIT)


def measure(command, wanted, path):
    met = True
    grow(path, 0, SMALL)
    small = evaluate_and_look(command, path)[1]
    grow(path, SMALL, TIMED)
    if TIME_ROW in wanted:
        met = measure_time(command, path)
    if MEMORY_ROW in wanted:
        grow(path, TIMED, LARGE)
        growth = evaluate(command, path)[1] - small
        met = print_row(MEMORY_ROW, f"{growth:.3g}", MEMORY_LIMIT, growth <= MEMORY_LIMIT) and met
    return met


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("nox", nargs="?", help="the program")
    parser.add_argument("text", nargs="?", default="", help="only rows that contain it")
    parser.add_argument("--append", nargs=3, metavar=("FILE", "BEGIN", "END"), help=argparse.SUPPRESS)
    arguments = parser.parse_args()
    if arguments.append:
        append_pulses(arguments.append[0], int(arguments.append[1]), int(arguments.append[2]))
        return 0
    wanted = [row for row in (TIME_ROW, MEMORY_ROW) if arguments.text in row]
    if not wanted:
        return 0
    if not arguments.nox:
        parser.error("the program is missing")
    with tempfile.TemporaryDirectory(prefix="nox-bench-") as directory:
        try:
            return 0 if measure([arguments.nox], wanted, os.path.join(directory, "pulses.csv")) else 1
        except (RuntimeError, OSError, subprocess.CalledProcessError) as error:
            print(f"evaluate_csv: {error}", file=sys.stderr)
            for row, limit in ((TIME_ROW, TIME_LIMIT), (MEMORY_ROW, MEMORY_LIMIT)):
                if row in wanted:
                    print_row(row, "failed", limit, False)
            return 1


if __name__ == "__main__":
    sys.exit(main())
