#!/usr/bin/env python3
"""Measures an update of one large file, sent and verified, beside scp of the same file, over the loopback.

Prints a row `what | measured | limit | verdict`; exit status 1 when the limit is missed."""
import json
import os
import pathlib
import shutil
import statistics
import subprocess
import sys
import tempfile
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "tests" / "acceptance"))
import secure_shell  # noqa: E402

MEBIBYTES, ROUNDS, LIMIT = 64, 5, 1.5
ROW = "update: 64 MiB sent and verified / scp of the same file"


def seconds_of(words):
    began = time.monotonic()
    done = subprocess.run(list(map(str, words)), stdin=subprocess.DEVNULL, capture_output=True, text=True)
    if done.returncode != 0:
        raise RuntimeError(f"{words[0]}: {done.stderr.strip()}")
    return time.monotonic() - began


def measure(program):
    folder = pathlib.Path(tempfile.mkdtemp())
    server = secure_shell.Server(folder)
    try:
        server.start()
        package, target = folder / "package", folder / "target"
        package.mkdir()
        (package / "image").write_bytes(os.urandom(MEBIBYTES << 20))
        (package / "manifest.json").write_text(json.dumps(
            {"copyFileDescriptions": [{"source": "image", "destination": str(target)}]}))
        update = [program, "update", server.url, package, "--identity", folder / "user", "--known-hosts",
                  folder / "known_hosts"]
        scp = ["scp", "-q", "-F", "none", "-o", f"UserKnownHostsFile={folder}/known_hosts", "-i", folder / "user",
               "-P", server.port, package / "image", f"{server.user}@127.0.0.1:{target}"]
        ratios = []
        for _ in range(ROUNDS):
            times = []
            for words in (update, scp):
                target.unlink(missing_ok=True)
                times.append(seconds_of(words))
            ratios.append(times[0] / times[1])
        return statistics.median(ratios)
    finally:
        server.stop()
        shutil.rmtree(folder, ignore_errors=True)


def main():
    program, text = sys.argv[1], sys.argv[2] if len(sys.argv) > 2 else ""
    if text not in ROW:
        return 0
    print("measuring:", ROW, file=sys.stderr)
    try:
        ratio = measure(program)
    except (RuntimeError, OSError, subprocess.SubprocessError) as error:
        print(f"{ROW} | {error} | <= {LIMIT:g} | MISSED")
        return 1
    print(f"{ROW} | {ratio:.2f} | <= {LIMIT:g} | {'ok' if ratio <= LIMIT else 'MISSED'}", flush=True)
    return 0 if ratio <= LIMIT else 1


if __name__ == "__main__":
    sys.exit(main())
