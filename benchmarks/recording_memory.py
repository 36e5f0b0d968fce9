#!/usr/bin/env python3
"""Measures the resident memory of recording and of replaying, a long measurement against a short one.

Prints a row `what | measured | limit | verdict` each; exit status 1 when a limit is missed."""
import os
import pathlib
import subprocess
import sys
import tempfile

CHANNELS, SHORT, LONG = 4, 10_000, 1_000_000
SOURCE = f"simulator:?channels={CHANNELS}&speed=0&pulses=20&voltage-profile=0:20"
LIMIT = 64.0
ROWS = ("recording: memory of 10^6 periods of 20 pulses over that of 10^4, recording, MB",
        "recording: memory of 10^6 periods of 20 pulses over that of 10^4, replay, MB")


def peak_megabytes(*words):
    """Of a program that runs in a process of its own, so that nobody else's peak counts."""
    process = os.posix_spawn(words[0], words, os.environ, file_actions=[
        (os.POSIX_SPAWN_OPEN, 1, os.devnull, os.O_WRONLY, 0), (os.POSIX_SPAWN_OPEN, 2, os.devnull, os.O_WRONLY, 0)])
    _, status, usage = os.wait4(process, 0)
    if status != 0:
        raise RuntimeError(f"{' '.join(words)}: status {os.waitstatus_to_exitcode(status)}")
    return usage.ru_maxrss / 1024


def measure(program):
    peaks = {}
    with tempfile.TemporaryDirectory() as folder:
        for periods in (SHORT, LONG):
            path = str(pathlib.Path(folder) / f"{periods}.pdr")
            record = peak_megabytes(program, "measure", SOURCE, "--periods", str(periods // CHANNELS), "--record", path,
                                    "--output", "jsonl")
            replay = peak_megabytes(program, "replay", path, "--speed", "0", "--output", "jsonl")
            peaks[periods] = (record, replay)
    return [long - short for long, short in zip(peaks[LONG], peaks[SHORT])]


def main():
    program, text = sys.argv[1], sys.argv[2] if len(sys.argv) > 2 else ""
    wanted = [row for row in ROWS if text in row]
    if not wanted:
        return 0
    print("measuring:", *wanted, sep="\n", file=sys.stderr)
    try:
        growths = dict(zip(ROWS, measure(program)))
    except (RuntimeError, OSError, subprocess.SubprocessError) as error:
        print("\n".join(f"{row} | {error} | <= {LIMIT:g} | MISSED" for row in wanted))
        return 1
    for row in wanted:
        print(f"{row} | {growths[row]:.3g} | <= {LIMIT:g} | {'ok' if growths[row] <= LIMIT else 'MISSED'}", flush=True)
    return 0 if all(growths[row] <= LIMIT for row in wanted) else 1


if __name__ == "__main__":
    sys.exit(main())
