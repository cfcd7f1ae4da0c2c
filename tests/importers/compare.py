# Compares two results of the motor: compare.py REFERENCE RESULT. The reference is what `zelvox simulate`
# wrote.

import csv
import sys


def columns(path):
    with open(path, newline="") as file:
        return {name: list(map(float, cells)) for name, *cells in zip(*csv.reader(file), strict=True)}


reference, result = map(columns, sys.argv[1:])
for name in ("time", "speed", "current"):
    ours, theirs = reference[name], result[name]
    assert len(theirs) == len(ours) == 501, f"{name}: {len(theirs)} points, expected {len(ours)}"
    scale = max(map(abs, ours))
    worst = max(abs(a - b) for a, b in zip(ours, theirs))
    print(f"{name}: largest difference {worst:.1e} of {scale:.6g}")
    assert worst <= 1e-9 * scale, name
