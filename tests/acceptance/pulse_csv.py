"""Makes pulse CSV files: random measurements from a seed, and trains of equal pulses."""
import random
from dataclasses import dataclass, field, replace

COLUMNS = ("channel", "period", "start_ticks", "end_ticks", "sample_rate", "pd_correction", "pd_calibration",
           "tv_correction", "tv_calibration", "period_flags", "time_ticks", "amplitude", "voltage", "flags")

# Neighbours stay within, on and beyond the 5 % of jitter that a reading does not follow.
LENGTHS_MS = (16.667, 20.0, 20.5, 22.0, 40.0, 20.0, 19.0, 20.0, 21.0)
FLAGS = (0,) * 12 + (1, 4, 5, 8, 12, 2**32 - 14)
INT32_MIN, INT32_MAX = -2**31, 2**31 - 1


@dataclass(frozen=True)
class Period:
    channel: int = 0
    index: int = 0
    start: int = 0
    end: int = 20000
    sample_rate: int = 1000000
    pd_correction: float = 0.1
    pd_calibration: float = 0.0
    tv_correction: float = 1.0
    tv_calibration: float = 0.0
    flags: int = 0
    pulses: list = field(default_factory=list)  # (time, amplitude, voltage, flags)

    def rows(self):
        *head, pulses = vars(self).values()
        for pulse in pulses or [("", "", "", "")]:
            yield [str(value) for value in (*head, *pulse)]


def lines(periods, columns=COLUMNS):
    """Header and rows; a column that is none of the format's is filled with a text."""
    yield ",".join(columns)
    for period in periods:
        for row in period.rows():
            cells = dict(zip(COLUMNS, row))
            yield ",".join(cells.get(column, "further") for column in columns)


def write(path, periods):
    with open(path, "w", newline="") as file:
        file.writelines(line + "\n" for line in lines(periods))
    return path


CHANNELS = (
    Period(channel=0, pd_correction=0.37, pd_calibration=2.5e-3),
    Period(channel=1, pd_correction=1.25, sample_rate=125000000, tv_correction=0.5, tv_calibration=3.0),
    Period(channel=2, pd_correction=-0.01, pd_calibration=5e-13, sample_rate=2000000),
)


def random_measurement(seed, count, first=0):
    rng = random.Random(seed)
    seconds = rng.uniform(0.0, 1e4)
    for step in range(count):
        length = LENGTHS_MS[step // 12 % len(LENGTHS_MS)] if rng.random() < 0.9 else rng.choice(LENGTHS_MS)
        for channel in rng.sample(CHANNELS, len(CHANNELS)):
            if rng.random() < 0.9:
                start = round(seconds * channel.sample_rate)
                end = start + round(length * channel.sample_rate / 1000)
                period = replace(channel, index=first + step, start=start, end=end, flags=rng.choice(FLAGS))
                yield spoilt(rng, with_pulses(rng, period, step / count))
        seconds += length / 1000


def lengths_in_turn(turns):
    """One channel for each length that a measurement may begin with; each goes through all of them."""
    starts = [0] * len(LENGTHS_MS)
    for index in range(turns * len(LENGTHS_MS)):
        for channel, start in enumerate(starts):
            starts[channel] = end = start + round(1000 * LENGTHS_MS[(channel + index) % len(LENGTHS_MS)])
            yield Period(channel, index, start, end, pulses=[(end, 1000 - index, 0, 0)])


def with_pulses(rng, period, progress):
    if rng.random() < 0.15:
        return period
    times = [rng.choice((rng.randint(period.start, period.end),) * 8 + (period.start, period.end))
             for _ in range(rng.randint(1, 6))]
    return replace(period, pulses=[(time, random_amplitude(rng, progress), rng.randint(INT32_MIN, INT32_MAX),
                                    rng.choice((0, 0, 0x10, 0x0f, 0xff, 1))) for time in times])


def random_amplitude(rng, progress):
    """Grows over the measurement, so that maxima are exceeded until its end."""
    if rng.random() < 0.01:
        return rng.choice((0, 1, -1, INT32_MIN, INT32_MAX) if progress > 0.8 else (0, 1, -1))
    return rng.choice((-1, 1)) * int(2 ** rng.uniform(0, 8 + 22 * progress))


def spoilt(rng, period):
    """A few periods that last no time, or less, or whose rate is unknown."""
    before = period.start - rng.randint(1, 30000)
    return replace(period, **rng.choice([{}] * 40 + [{"end": period.start}, {"end": before}, {"sample_rate": 0}]))


def pulse_train(pulses_per_second, mains_hz, seconds):
    """Equal pulses of 100, evenly placed."""
    rate, pulses = 1000000, 0
    for index in range(seconds * mains_hz):
        start, end = round(index * rate / mains_hz), round((index + 1) * rate / mains_hz)
        period = Period(index=index, start=start, end=end)
        while pulses * rate // pulses_per_second < end:
            period.pulses.append((pulses * rate // pulses_per_second, 1000, 0, 0))
            pulses += 1
        yield period


def bulk(pulses, per_period=100):
    """A long measurement of full periods, one after the other."""
    for index in range(pulses // per_period):
        start = index * 20000
        yield Period(index=index, start=start, end=start + 20000,
                     pulses=[(start + 200 * i, 1000 + (index + i) % 977, i, 0) for i in range(per_period)])
