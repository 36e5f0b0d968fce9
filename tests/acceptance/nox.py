"""Runs the program under test: the one NOX_PROGRAM names, else that of the release build."""
import os
import subprocess
import sys
import tempfile
from dataclasses import dataclass
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
TIMEOUT = 120

# ru_maxrss starts at the size of the process that spawned the program, so a small one has to do it.
MEASURE = """
import os, signal, sys
null = [(os.POSIX_SPAWN_OPEN, fd, os.devnull, os.O_WRONLY, 0) for fd in (1, 2)]
pid = os.posix_spawn(sys.argv[2], sys.argv[2:], os.environ, file_actions=null)
signal.signal(signal.SIGALRM, lambda *_: os.kill(pid, signal.SIGKILL))
signal.alarm(int(sys.argv[1]))
_, status, usage = os.wait4(pid, 0)
print(usage.ru_maxrss, os.waitstatus_to_exitcode(status))
"""


@dataclass(frozen=True)
class Result:
    stdout: str
    stderr: str
    status: int

    def messages(self):
        return [line for line in self.stderr.splitlines() if line.strip()]


def program():
    path = Path(os.environ.get("NOX_PROGRAM") or ROOT / "build" / "release" / "bin" / "nox")
    if not path.is_file():
        raise FileNotFoundError(f"no program at {path}: build it or set NOX_PROGRAM")
    return str(path.resolve())


def environment_in(home, changes):
    """Keeps the settings of whoever runs the tests out of the program."""
    inherited = {name: value for name, value in os.environ.items() if not name.startswith(("XDG_", "LC_"))}
    return {**inherited, "HOME": home, "LANG": "C.UTF-8", **changes}


def run(*arguments, stdout=subprocess.PIPE, **environment):
    with tempfile.TemporaryDirectory() as home:
        done = subprocess.run([program(), *map(str, arguments)], stdin=subprocess.DEVNULL, stdout=stdout,
                              stderr=subprocess.PIPE, timeout=TIMEOUT, env=environment_in(home, environment))
    return Result((done.stdout or b"").decode(), done.stderr.decode(errors="replace"), done.returncode)


def peak_memory(*arguments, **environment):
    """Largest resident memory of a successful run, in bytes; what it prints is dropped."""
    with tempfile.TemporaryDirectory() as home:
        done = subprocess.run([sys.executable, "-S", "-c", MEASURE, str(TIMEOUT), program(), *map(str, arguments)],
                              check=True, capture_output=True, env=environment_in(home, environment))
    kibibytes, status = map(int, done.stdout.split())
    if status != 0:
        raise RuntimeError(f"{arguments}: ended with status {status}")
    return kibibytes * 1024


def shared_data(*parts):
    """A file of measured data that is kept outside the tree, or None where it is not at hand."""
    folder = Path(os.environ.get("NOX_SHARED_DATA") or ROOT.parent / "shared" / "data")
    path = folder.joinpath(*parts)
    return path if path.exists() else None
