"""A device of its own to update: sshd on a free port of the loopback, with keys and a configuration of its own."""
import getpass
import os
import resource
import shutil
import signal
import socket
import subprocess
import threading
import time
from pathlib import Path

SSHD = shutil.which("sshd") or "/usr/sbin/sshd"
BOUND = 20
# The home is another, so that what a person's shell does at its start costs and changes nothing.
CONFIGURATION = """
Port {port}
ListenAddress 127.0.0.1
HostKey {folder}/{host_key}
PidFile none
AuthorizedKeysFile {folder}/user.pub
StrictModes no
UsePAM no
PermitRootLogin yes
PasswordAuthentication no
MaxStartups 100
SetEnv HOME={folder}
{subsystem}
"""


def is_available():
    return os.access(SSHD, os.X_OK) and shutil.which("ssh-keygen") is not None


def memory_folder():
    """Where files do not wait for a disk that others keep busy; None where there is no such place of some size."""
    place = Path("/dev/shm")
    if not place.is_dir() or not os.access(place, os.W_OK):
        return None
    room = os.statvfs(place)
    return str(place) if room.f_bavail * room.f_frsize > 2 << 30 else None


def wait_until(holds, what):
    end = time.monotonic() + BOUND
    while not holds():
        if time.monotonic() > end:
            raise TimeoutError(what)
        time.sleep(0.001)


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def descendants(pid):
    children = Path(f"/proc/{pid}/task/{pid}/children")
    try:
        found = [int(word) for word in children.read_text().split()]
    except OSError:
        return []
    return found + [deeper for child in found for deeper in descendants(child)]


class Server:
    """Stopped, and all that it started, by stop()."""

    def __init__(self, folder, has_sftp=True, largest_file=None):
        self.folder = Path(folder)
        self.user = getpass.getuser()
        self.port = free_port()
        self.has_sftp = has_sftp
        self.largest_file = largest_file
        self.process = None
        for name, kind in ("host", "ed25519"), ("other", "ed25519"), ("ecdsa", "ecdsa"), ("user", "ed25519"), \
                ("stranger", "ed25519"):
            if not (self.folder / name).exists():
                subprocess.run(["ssh-keygen", "-q", "-N", "", "-t", kind, "-f", self.folder / name], check=True)
        self.know("host")

    @property
    def url(self):
        return f"ssh://{self.user}@127.0.0.1:{self.port}"

    def know(self, host_key):
        kind, key = (self.folder / f"{host_key}.pub").read_text().split()[:2]
        (self.folder / "known_hosts").write_text(f"[127.0.0.1]:{self.port} {kind} {key}\n")

    def start(self, host_key="host"):
        if os.geteuid() == 0:
            # It insists on this folder, which only a system service makes.
            Path("/run/sshd").mkdir(mode=0o755, exist_ok=True)
        subsystem = "Subsystem sftp internal-sftp" if self.has_sftp else ""
        configuration = self.folder / "sshd_config"
        configuration.write_text(CONFIGURATION.format(port=self.port, folder=self.folder, host_key=host_key,
                                                      subsystem=subsystem))
        limit = self.largest_file

        def limit_files():
            resource.setrlimit(resource.RLIMIT_FSIZE, (limit, limit))
            signal.signal(signal.SIGXFSZ, signal.SIG_IGN)

        with open(self.folder / "sshd.log", "ab") as log:
            self.process = subprocess.Popen([SSHD, "-D", "-e", "-f", configuration], stdin=subprocess.DEVNULL,
                                            stdout=log, stderr=log, preexec_fn=limit_files if limit else None,
                                            restore_signals=not limit)
        wait_until(self.is_listening, f"sshd does not listen: {(self.folder / 'sshd.log').read_text()}")
        return self

    def is_listening(self):
        with socket.socket() as probe:
            return self.process.poll() is None and probe.connect_ex(("127.0.0.1", self.port)) == 0

    def signal_all(self, number):
        for pid in [self.process.pid, *descendants(self.process.pid)]:
            try:
                os.kill(pid, number)
            except ProcessLookupError:
                pass

    def freeze(self):
        self.signal_all(signal.SIGSTOP)

    def kill(self):
        self.signal_all(signal.SIGKILL)
        self.process.wait()

    def stop(self):
        if self.process and self.process.poll() is None:
            self.kill()


class SlowRelay:
    """Forwards a port; each piece arrives `delay` seconds later, in order."""

    def __init__(self, target, delay):
        self.target = target
        self.delay = delay
        self.listener = socket.create_server(("127.0.0.1", 0))
        self.port = self.listener.getsockname()[1]
        self.sockets = [self.listener]
        threading.Thread(target=self.accept, daemon=True).start()

    def accept(self):
        while True:
            try:
                near, _ = self.listener.accept()
            except OSError:
                return
            far = socket.create_connection(("127.0.0.1", self.target))
            self.sockets += [near, far]
            for source, sink in (near, far), (far, near):
                sink.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
                pieces, ready = [], threading.Condition()
                threading.Thread(target=self.take, args=(source, pieces, ready), daemon=True).start()
                threading.Thread(target=self.give, args=(sink, pieces, ready), daemon=True).start()

    def take(self, source, pieces, ready):
        data = b"-"
        while data:
            try:
                data = source.recv(1 << 18)
            except OSError:
                data = b""
            with ready:
                pieces.append((time.monotonic() + self.delay, data))
                ready.notify()

    def give(self, sink, pieces, ready):
        while True:
            with ready:
                ready.wait_for(lambda: pieces)
                due, data = pieces.pop(0)
            time.sleep(max(0.0, due - time.monotonic()))
            try:
                if not data:
                    sink.shutdown(socket.SHUT_WR)
                    return
                sink.sendall(data)
            except OSError:
                return

    def close(self):
        for each in self.sockets:
            each.close()
