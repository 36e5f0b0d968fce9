#!/usr/bin/env python3
"""Checks that includes point down: a floor may include itself and the floors below it."""
import re
import sys
from pathlib import Path

# From the top; host and the programs stand above the library, the platform below it.
FLOORS = ["apps", "host", "ui", "recording", "evaluation", "connections", "dac", "entries", "platform"]
INCLUDE = re.compile(r'^\s*#\s*include\s+"([^"]+)"')


def faults(root):
    for floor in FLOORS:
        for path in sorted((root / floor).rglob("*")):
            if path.suffix in (".h", ".cpp"):
                yield from faults_of_file(root, floor, path)


def faults_of_file(root, floor, path):
    for number, line in enumerate(path.read_text().splitlines(), 1):
        included = INCLUDE.match(line)
        if not included:
            continue
        target = included.group(1).split("/")[0]
        place = f"{path.relative_to(root)}:{number}"
        if target in FLOORS and FLOORS.index(target) < FLOORS.index(floor):
            yield f"{place}: {floor}/ may not include {target}/, which stands above it"
        elif target not in FLOORS and not is_generated(included.group(1)):
            yield f'{place}: "{included.group(1)}" is not named from the root of the project'


def is_generated(name):
    return name.endswith("_export.h") or name.startswith("moc_") or name.endswith(".moc")


def main():
    root = Path(sys.argv[1] if len(sys.argv) > 1 else ".").resolve()
    found = list(faults(root))
    print("\n".join(found) or "all includes point down")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
