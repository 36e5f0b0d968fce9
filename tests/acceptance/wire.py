"""Two network namespaces, A and B, joined by a wire: 10.77.0.1 on "vA", 10.77.0.2 on "vB"."""
import os
import shutil
import subprocess
import unittest

GROUP = "239.255.255.250"


def ip(*words):
    subprocess.run(["ip", *words], check=True, capture_output=True, timeout=30)


def reason_to_skip(*programs):
    """Why namespaces cannot be used here, or None."""
    for name in ("ip", *programs):
        if not (shutil.which(name) or shutil.which(name, path="/usr/sbin:/sbin")):
            return f"{name} is not installed"
    probe = f"noxprobe{os.getpid()}"
    try:
        ip("netns", "add", probe)
        ip("netns", "del", probe)
    except (subprocess.SubprocessError, OSError):
        return "network namespaces may not be made here"
    return None


class Wire:
    def __init__(self):
        self.names = {side: f"nox{os.getpid()}{side}" for side in "AB"}
        self.processes = []

    def __enter__(self):
        for name in self.names.values():
            ip("netns", "add", name)
        ip("link", "add", "vA", "netns", self.names["A"], "type", "veth", "peer", "name", "vB", "netns", self.names["B"])
        for host, (side, name) in enumerate(self.names.items(), 1):
            ip("-n", name, "link", "set", "lo", "up")
            ip("-n", name, "addr", "add", f"10.77.0.{host}/24", "dev", f"v{side}")
            # Without an address of IPv6, which no socket can be bound to in its first seconds.
            ip("-n", name, "link", "set", f"v{side}", "addrgenmode", "none", "up", "multicast", "on")
            ip("-n", name, "route", "add", f"{GROUP}/32", "dev", f"v{side}")
        return self

    def __exit__(self, *_):
        for process in self.processes:
            if process.poll() is None:
                process.kill()
            process.communicate()
        for name in self.names.values():
            ip("netns", "del", name)

    def start(self, side, *words, **options):
        """The process itself, as the tool that enters the namespace becomes it."""
        options = {"stdin": subprocess.PIPE, "stdout": subprocess.PIPE, "stderr": subprocess.PIPE, "text": True} | options
        process = subprocess.Popen(["ip", "netns", "exec", self.names[side], *map(str, words)], **options)
        self.processes.append(process)
        return process


class WireTest(unittest.TestCase):
    """A test with a wire of its own, skipped where there can be none."""
    PROGRAMS = ()

    def setUp(self):
        reason = reason_to_skip(*self.PROGRAMS)
        if reason:
            self.skipTest(reason)
        self.wire = self.enter(Wire())

    def enter(self, manager):
        value = manager.__enter__()
        self.addCleanup(manager.__exit__, None, None, None)
        return value
