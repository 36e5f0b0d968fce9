#!/usr/bin/env python3
"""An example instrument in plain Python: one channel, 50 Hz, two pulses a period. Usage: instrument.py [PORT]"""
import asyncio, base64, json, struct, sys

TICKS, RATE, KILOVOLTS_A_UNIT = 20_000, 1_000_000, 0.001  # ticks a period, ticks a second
PARAMETERS = {"ch0/pd_calibration": 0.01}  # pC a unit
ANNOUNCEMENT = {"protocol_version": "1.0", "device_identification": "PD-EXAMPLE", "serial_number": "E0001",
                "number_of_channels": 1, "software_version": "1.0.0", "fpga_version": "1.0", "product_class": "pd",
                "product_name": "Example instrument", "channels": ["index=0|name=Example"]}


class Session:
    def __init__(self, reader, writer):
        self.reader, self.writer, self.index, self.measuring = reader, writer, 0, None

    def send(self, name, **members):
        self.writer.write(json.dumps({"message": name, **members}).encode() + b"\n")

    def send_period(self):
        start = self.index * TICKS
        pulses = [(12_000, 14_142, start + 5_000, 0), (-9_000, -14_142, start + 15_000, 0)]
        peaks = b"".join(struct.pack("<iiqB", *pulse) for pulse in pulses)  # amplitude, voltage, time, flags
        self.send("period_block", channel=0, index=self.index, periods=[{
            "StartTime": start, "EndTime": start + TICKS, "SampleRate": RATE, "TvCalibration": KILOVOLTS_A_UNIT,
            "PdCalibration": PARAMETERS["ch0/pd_calibration"], "Peaks": base64.b64encode(peaks).decode()}])
        self.index += 1

    async def every(self, seconds, action):
        due = asyncio.get_running_loop().time()
        while not self.writer.is_closing():
            due += seconds
            await asyncio.sleep(due - asyncio.get_running_loop().time())
            action()
            await asyncio.gather(self.writer.drain(), return_exceptions=True)  # a slow host gets everything later

    def handle(self, message):
        name, answer = message["message"], {"id": message["id"]} if "id" in message else {}
        if not isinstance(name, str):
            raise TypeError("the object has no text \"message\"")
        if name in ("start", "stop"):
            if self.measuring:
                self.measuring = self.measuring.cancel() and None
            if name == "start":
                self.measuring = asyncio.create_task(self.every(TICKS / RATE, self.send_period))
            self.send("response", **answer, parameter="run", value=name == "start", status="ok")
        elif name == "request":
            parameter, value = message["parameter"], message.get("value")
            if parameter in PARAMETERS and type(value) in (int, float) and 1e-4 <= value <= 1000:
                PARAMETERS[parameter] = value
                self.send("response", **answer, parameter=parameter, value=value, status="ok")
            else:
                self.send("response", **answer, parameter=parameter, status="rejected", reason="That cannot be set.")

    async def serve(self):
        heartbeat, errors = asyncio.create_task(self.every(2, lambda: self.send("heartbeat"))), 0
        try:
            self.send("announcement", parameters=PARAMETERS, **ANNOUNCEMENT)
            while errors < 100 and not self.reader.at_eof():
                try:
                    line = (await asyncio.wait_for(self.reader.readline(), 10)).strip()
                    if len(line) > 1 << 24:
                        raise ValueError("the line is longer than 16 MiB")
                    if line:
                        self.handle(json.loads(line))
                        errors = 0
                except (ValueError, TypeError, KeyError, RecursionError) as fault:  # no such message
                    self.send("error", reason=repr(fault)[:200])
                    errors += 1
        except (asyncio.TimeoutError, ConnectionError):
            pass  # silent for 10 s, or gone
        finally:
            for task in filter(None, (heartbeat, self.measuring)):
                task.cancel()
            self.writer.close()


async def main(port):
    server = await asyncio.start_server(lambda *ends: Session(*ends).serve(), "127.0.0.1", port, limit=1 << 25)
    print("tcp://127.0.0.1:%d" % server.sockets[0].getsockname()[1], flush=True)
    await server.serve_forever()

if __name__ == "__main__":
    asyncio.run(main(int(sys.argv[1]) if len(sys.argv) > 1 else 6027))
