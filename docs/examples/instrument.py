#!/usr/bin/env python3
"""An instrument for `nox measure` in sixty lines: one channel, 50 periods a second, five pulses in each.

Run it, then: nox measure tcp://127.0.0.1:6027 --duration 5s. See ../instrument-protocol.md."""
import base64
import json
import socketserver
import struct
import sys
import time

RATE = 1_000_000  # ticks a second
TICKS = RATE // 50  # a period
PULSES = [(5_000, 1200), (5_500, -900), (6_000, 2500), (15_000, -2500), (15_400, 800)]  # ticks, amplitude


def period(start):
    peaks = b"".join(struct.pack("<iiqB", amplitude, 100, start + at, 0) for at, amplitude in PULSES)
    return {"StartTime": start, "EndTime": start + TICKS, "SampleRate": RATE, "PdCalibration": 0.1,
            "Peaks": base64.b64encode(peaks).decode()}


class Host(socketserver.BaseRequestHandler):
    def send(self, name, **members):
        self.request.sendall(json.dumps({"message": name, **members}, separators=(",", ":")).encode() + b"\n")

    def answer(self, line):
        message = json.loads(line)
        if message["message"] in ("start", "stop"):
            self.running = message["message"] == "start"
            self.send("response", parameter="run", value=self.running, status="ok")
        elif message["message"] == "request":
            self.send("response", id=message["id"], parameter=message["parameter"], status="rejected",
                      reason="this instrument has no parameters")

    def handle(self):
        try:
            self.serve()
        except ConnectionError:
            pass  # the host is gone

    def serve(self):
        self.running, index, unread = False, 0, b""
        self.send("announcement", protocol_version="1.0", device_identification="PD-EXAMPLE", serial_number="E1",
                  number_of_channels=1)
        self.request.settimeout(0.02)  # a period
        last_sent = time.monotonic()
        while True:
            try:
                received = self.request.recv(65536)
                if not received:
                    return  # the host has closed
                unread += received
                *lines, unread = unread.split(b"\n")
                for line in filter(None, lines):
                    self.answer(line)
                continue
            except TimeoutError:
                pass
            if self.running:
                self.send("period_block", channel=0, index=index, periods=[period(index * TICKS)])
                index += 1
                last_sent = time.monotonic()
            elif time.monotonic() - last_sent > 2:
                self.send("heartbeat")
                last_sent = time.monotonic()


if __name__ == "__main__":
    port = int(sys.argv[1]) if len(sys.argv) > 1 else 6027
    socketserver.ThreadingTCPServer.allow_reuse_address = True
    with socketserver.ThreadingTCPServer(("127.0.0.1", port), Host) as server:
        print("tcp://127.0.0.1:%d" % server.server_address[1], flush=True)
        server.serve_forever()
