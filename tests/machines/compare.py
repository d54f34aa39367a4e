#!/usr/bin/env python3
"""Holds the results of one machine against another's: compare.py HERE THERE [HERE.json THERE.json]

The first two are what velmaro-results printed. "bits" lines must be equal; "float" and "double" may
differ by one unit in the last place, and a not-a-number is one whatever its sign. The others are what
facemesh-probe printed of the same picture, whose points may lie apart by 0.1 pixels and whose angles
by 0.1 degrees.
"""

import collections
import json
import sys

PIXELS = 0.1
DEGREES = 0.1


def ordered(digits):
    """The number's place among all of its format, so that neighbours differ by one; None: not a number."""
    bits, width = int(digits, 16), 4 * len(digits)
    magnitude = bits & ((1 << (width - 1)) - 1)
    if magnitude > {32: 0x7f800000, 64: 0x7ff0000000000000}[width]:
        return None
    return -magnitude if bits >> (width - 1) else magnitude


def apart(kind, here, there):
    """In units of the last place; any two that must be equal and are not are infinitely far."""
    if here == there:
        return 0
    if kind == "bits":
        return float("inf")
    one, other = ordered(here), ordered(there)
    if one is None or other is None:
        return 0 if one is other else float("inf")
    return abs(one - other)


def compare_results(here, there):
    """The failures; prints a line for each group."""
    groups = collections.OrderedDict()
    for one, other in zip(here, there):
        where, _, rest = one.rpartition(" ")
        if where != other.rpartition(" ")[0]:
            return [f"other lines: {one!r} and {other!r}"]
        kind = where.rpartition(" ")[2]
        groups.setdefault(where, []).append(apart(kind, rest, other.rpartition(" ")[2]))
    failures = [] if len(here) == len(there) and here else [
        f"{len(here)} and {len(there)} lines of results"]
    for where, distances in groups.items():
        worst, different = max(distances), sum(each > 0 for each in distances)
        print(f"{where:<28} {len(distances):>7} compared, {different} differ, by at most {worst} ulp")
        if worst > 1:
            failures.append(f"{where}: {worst} units in the last place")
    return failures


def compare_faces(here, there):
    """The failures; prints how far the faces lie apart."""
    if len(here["faces"]) != len(there["faces"]) or not here["faces"]:
        return [f"{len(here['faces'])} and {len(there['faces'])} faces"]
    pixels = degrees = 0
    for one, other in zip(here["faces"], there["faces"]):
        pixels = max(pixels, *(abs(a - b) for left, right in zip(one["points"], other["points"])
                               for a, b in zip(left, right)))
        degrees = max(degrees, *(abs(one[name] - other[name]) for name in ("yaw", "pitch", "roll")))
    print(f"faces: points at most {pixels:.3f} pixels apart, angles {degrees:.3f} degrees")
    failures = []
    if pixels > PIXELS:
        failures.append(f"points lie {pixels} pixels apart, more than {PIXELS}")
    if degrees > DEGREES:
        failures.append(f"angles lie {degrees} degrees apart, more than {DEGREES}")
    return failures


def lines(path):
    with open(path, encoding="ascii") as file:
        return file.read().splitlines()


def main():
    if len(sys.argv) not in (3, 5):
        print(__doc__.splitlines()[0], file=sys.stderr)
        return 2
    failures = compare_results(lines(sys.argv[1]), lines(sys.argv[2]))
    if len(sys.argv) == 5:
        failures += compare_faces(*(json.loads("\n".join(lines(path))) for path in sys.argv[3:]))
    for failure in failures:
        print(f"compare: {failure}", file=sys.stderr)
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
