"""Reads the readings that the program prints, in each of its forms, and compares them."""
import csv
import io
import json
import math

CSV_HEADER = ["period", "channel", "processor", "property", "value"]


def key(reading):
    return reading["period"], reading["channel"], reading["processor"]


def from_jsonl(text):
    return [json.loads(line) for line in text.splitlines()]


def from_csv(text):
    """Adjacent rows of one period, channel and processor make one reading."""
    rows = csv.reader(io.StringIO(text))
    header, readings = next(rows), []
    if header != CSV_HEADER:
        raise ValueError(f"unexpected header {header}")
    for period, channel, processor, name, value in rows:
        reading = {"period": int(period), "channel": int(channel), "processor": processor}
        if not readings or key(readings[-1]) != key(reading):
            readings.append(reading)
        readings[-1][name] = number_or_text(value)
    return readings


def from_table(text, processors):
    """Cells by (period, channel, processor), in the order of the lines; numbers may be rounded."""
    cells = {}
    for line in text.splitlines():
        words = [word for word in line.split() if word.strip("|│")]
        named = [word for word in words if word in processors]
        if named:
            period, channel = [int(word) for word in words if word.isdigit()][:2]
            cells.setdefault((period, channel, named[0]), []).extend(map(number_or_text, words))
    return cells


def number_or_text(word):
    try:
        return float(word)
    except ValueError:
        return word


def is_number(value):
    return isinstance(value, (int, float)) and not isinstance(value, bool)


def same_value(actual, expected, tolerance=1e-9):
    if is_number(actual) and is_number(expected):
        return math.isclose(actual, expected, rel_tol=tolerance)
    return type(actual) is type(expected) and actual == expected


def same(actual, expected):
    """Equal to nine digits; Source says in free text where a frequency comes from, and only has to be there."""
    actual = dict(actual)
    if actual.get("processor") == "frequency" and not isinstance(actual.pop("Source", None), str):
        return False
    if any(type(actual.get(name)) is not int for name in ("period", "channel")):
        return False
    return actual.keys() == expected.keys() and all(same_value(actual[name], expected[name]) for name in expected)


def first_difference(actual, expected):
    """A description of the first reading that differs, or None."""
    for number, (one, other) in enumerate(zip(actual, expected)):
        if not same(one, other):
            return f"reading {number} is {one}, expected {other}"
    if len(actual) != len(expected):
        return f"{len(actual)} readings, expected {len(expected)}"
    return None
