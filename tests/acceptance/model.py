"""An independent model of `nox evaluate`: pulse CSV in, readings out, in plain double arithmetic.

The input is taken to be valid; a faulty file raises whatever Python raises."""
import argparse
import math
from dataclasses import dataclass, field

DIRTY, MILLIVOLT = 0x1, 0x4
GATED = 0x10
SUPPRESSING_GATING = 3
CALIBRATION_THRESHOLD = 1e-12
PERIOD_COLUMNS = ("channel", "period", "start_ticks", "end_ticks", "sample_rate", "pd_correction", "pd_calibration",
                  "tv_correction", "tv_calibration", "period_flags")


@dataclass(frozen=True)
class Options:
    evaluators: tuple = ("qiec", "qmax")
    gating: int = 0
    invert: bool = False
    phase_offset: float = 0.0
    phase_span: float = 360.0
    ignore_corrections: bool = False
    tau1: float = 0.44
    tau2: float = 0.5
    initial_qiec: float = 0.0
    channel: int = None


@dataclass
class Period:
    channel: int
    index: int
    start: int
    end: int
    sample_rate: int
    pd_correction: float
    pd_calibration: float
    flags: int
    pulses: list = field(default_factory=list)

    def can_be_built(self):
        return self.sample_rate != 0 and self.end > self.start

    def is_calibrated(self):
        return abs(self.pd_calibration) > CALIBRATION_THRESHOLD

    def unit(self):
        if self.flags & MILLIVOLT:
            return "mV"
        return "pC" if self.is_calibrated() else "p.u."

    def charge_scale(self, options):
        scale = 1.0 if options.ignore_corrections else self.pd_correction
        if self.is_calibrated() and not options.ignore_corrections:
            scale *= self.pd_calibration
        return -scale if options.invert else scale

    def maxima(self, options):
        """Largest positive and largest negative magnitude of the charges that count."""
        scale = self.charge_scale(options)
        positive = negative = 0.0
        for amplitude, flags in self.pulses:
            if options.gating == SUPPRESSING_GATING and flags & GATED:
                continue
            charge = float(amplitude) * scale
            if charge < 0.0:
                negative = max(negative, abs(charge))
            else:
                positive = max(positive, abs(charge))
        return positive, negative


def read_rows(path):
    with open(path, encoding="utf-8-sig", newline="\n") as file:
        lines = (line.rstrip("\r\n") for line in file)
        rows = (line.split(",") for line in lines if not line.startswith("#"))
        header = next(rows)
        for row in rows:
            yield dict(zip(header, row))


def read_periods(path):
    current_key = current = None
    for row in read_rows(path):
        key = tuple(row[column] for column in PERIOD_COLUMNS)
        if key != current_key:
            if current:
                yield current
            current_key = key
            current = Period(*map(int, key[:5]), float(row["pd_correction"]), float(row["pd_calibration"]), int(key[9]))
        if row["amplitude"]:
            current.pulses.append((int(row["amplitude"]), int(row["flags"])))
    if current:
        yield current


def counts_as_zero(x):
    return abs((1.0 + x) - 1.0) * 1e12 <= min(abs(1.0 + x), 1.0)


class Qiec:
    """Decaying peak hold followed by two equal first-order low-pass stages."""

    def __init__(self, options):
        self.options = options
        self.delta_t = 0.0
        self.peak = self.stage1 = self.stage2 = options.initial_qiec
        self.follow(0.02)

    def follow(self, dt):
        if counts_as_zero(dt):
            return
        if not counts_as_zero(self.delta_t) and 0.95 <= self.delta_t / dt <= 1.05:
            return
        self.delta_t = dt
        self.decay = math.exp(-dt / self.options.tau1)
        self.smoothing = 1.0 - math.exp(-dt / self.options.tau2)

    def evaluate(self, period):
        self.follow((period.end - period.start) / period.sample_rate)
        charge = 0.0 if period.flags & DIRTY else max(period.maxima(self.options))
        self.peak = max(charge, self.decay * self.peak)
        self.stage1 += self.smoothing * (self.peak - self.stage1)
        self.stage2 += self.smoothing * (self.stage1 - self.stage2)
        return {"Value": self.stage2, "Unit": period.unit()}


class Qmax:
    def __init__(self, options):
        self.options = options
        self.positive = self.negative = 0.0

    def evaluate(self, period):
        positive, negative = period.maxima(self.options)
        if positive <= self.positive and negative <= self.negative:
            return None
        self.positive, self.negative = max(positive, self.positive), max(negative, self.negative)
        return {"AbsoluteMaximumValue": self.positive, "AbsoluteMinimumValue": self.negative,
                "AbsolutePeakValue": max(self.positive, self.negative), "Unit": period.unit()}


class Frequency:
    """The property Source, whose text is free, is left out."""

    def __init__(self, options):
        pass

    def evaluate(self, period):
        return {"Value": period.sample_rate / (period.end - period.start), "Unit": "Hz"}


PROCESSORS = {"frequency": Frequency, "qiec": Qiec, "qmax": Qmax}


def evaluate(path, options=Options()):
    """The readings of a file, in the order in which the program prints them."""
    names = sorted(set(options.evaluators) & set(PROCESSORS))
    channels, readings = {}, []
    for period in read_periods(path):
        if not period.can_be_built() or options.channel not in (None, period.channel):
            continue
        if period.channel not in channels:
            channels[period.channel] = {name: PROCESSORS[name](options) for name in names}
        for name, processor in channels[period.channel].items():
            record = processor.evaluate(period)
            if record is not None:
                readings.append({"period": period.index, "channel": period.channel, "processor": name, **record})
    return sorted(readings, key=lambda reading: (reading["period"], reading["channel"]))


def parse(arguments):
    """File and options of the same command line that the program takes."""
    parser = argparse.ArgumentParser(argument_default=argparse.SUPPRESS)
    parser.add_argument("path")
    parser.add_argument("--evaluators", type=lambda text: tuple(filter(None, text.split(";"))))
    for name in ("--gating", "--channel"):
        parser.add_argument(name, type=int)
    for name in ("--phase-offset", "--phase-span", "--tau1", "--tau2", "--initial-qiec"):
        parser.add_argument(name, type=float)
    for name in ("--invert", "--ignore-corrections"):
        parser.add_argument(name, action="store_true")
    given = vars(parser.parse_args(arguments))
    return given.pop("path"), Options(**given)
