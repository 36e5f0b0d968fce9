"""A peer of discovery on bare sockets, and the announcer under test."""
import os
import select
import socket
import subprocess
import sys
import time
import uuid
from pathlib import Path

import nox

GROUP, PORT = "239.255.255.250", 1900
DISCOVER = '"ssdp:discover"'
DEVICE = "urn:nox-instruments:device:pd:1"
SERVICE = "urn:nox-instruments:service:measurement:1"


def announcer_words(name, url="tcp://0.0.0.0:4711", loopback=False):
    path = os.environ.get("NOX_SSDP_ANNOUNCER") or Path(nox.program()).with_name("ssdp_announcer")
    return [path, name, "nox-instruments", "pd", url, int(loopback), "measurement"]


def names_of(name):
    """The unique service names of the announcer's device."""
    return {f"uuid:{name}" + end for end in ("", "::upnp:rootdevice", f"::{DEVICE}", f"::{SERVICE}")}


def new_uuid():
    return str(uuid.uuid4())


def message(start, **headers):
    lines = [start] + [f"{name.replace('_', '-')}: {value}" for name, value in headers.items()]
    return "\r\n".join(lines + ["", ""]).encode()


def search(target, **changes):
    headers = {"HOST": f"{GROUP}:{PORT}", "MAN": DISCOVER, "MX": 1, "ST": target} | changes
    return message("M-SEARCH * HTTP/1.1", **{name: value for name, value in headers.items() if value is not None})


def alive(name, address, **changes):
    headers = {"HOST": f"{GROUP}:{PORT}", "CACHE_CONTROL": "max-age=1800", "LOCATION": f"tcp://{address}:1",
               "NT": DEVICE, "NTS": "ssdp:alive", "USN": f"uuid:{name}::{DEVICE}", "SERVER": "a/1 UPnP/1.1 b/2"}
    return message("NOTIFY * HTTP/1.1", **(headers | changes))


def headers_of(datagram):
    lines = datagram.decode().split("\r\n")[1:]
    return {line.split(":", 1)[0]: line.split(":", 1)[1].strip() for line in lines if ":" in line}


def sender(address):
    made = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    made.setsockopt(socket.IPPROTO_IP, socket.IP_MULTICAST_IF, socket.inet_aton(address))
    made.bind((address, 0))
    return made


def receive(sockets, seconds):
    """(socket, datagram, seconds since the start) of what comes until the time is over."""
    start = time.monotonic()
    while (left := start + seconds - time.monotonic()) > 0:
        for ready in select.select(sockets, [], [], left)[0]:
            yield ready, ready.recv(65536), time.monotonic() - start


def wait_for_sockets(process):
    """Until the program has begun to search or to announce."""
    while process.poll() is None and not own_sockets(process) & udp_sockets(process):
        time.sleep(0.01)


def own_sockets(process):
    links = set()
    for entry in Path(f"/proc/{process.pid}/fd").iterdir():
        try:
            links.add(os.readlink(entry))
        except FileNotFoundError:
            pass
    return links


def udp_sockets(process):
    """Those of the discovery port in the network that the process is in."""
    lines = [line.split() for line in Path(f"/proc/{process.pid}/net/udp").read_text().splitlines()[1:]]
    return {f"socket:[{words[9]}]" for words in lines if words[1].endswith(f":{PORT:04X}")}


class Lines:
    """Output of a process by the line, with a bound on the waiting."""

    def __init__(self, process):
        self.process = process
        self.seen = []
        self.rest = ""

    def wait(self, holds, seconds=30):
        """Whether `holds(lines so far)` came true while the process ran."""
        end = time.monotonic() + seconds
        while not holds(self.seen):
            left = end - time.monotonic()
            if left <= 0 or not select.select([self.process.stdout], [], [], left)[0]:
                return False
            text = os.read(self.process.stdout.fileno(), 65536).decode()
            if not text:
                return False
            *lines, self.rest = (self.rest + text).split("\n")
            self.seen += lines
        return True


def flood(address, count, first=0):
    out = sender(address)
    for number in range(first, first + count):
        out.sendto(alive(f"flood-{number}", address), (GROUP, PORT))


if __name__ == "__main__":
    # ssdp.py flood ADDRESS COUNT | send ADDRESS (the datagram on standard input)
    if sys.argv[1] == "flood":
        flood(sys.argv[2], int(sys.argv[3]))
    else:
        sender(sys.argv[2]).sendto(sys.stdin.buffer.read(), (GROUP, PORT))
