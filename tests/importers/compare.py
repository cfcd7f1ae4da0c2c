# Compares a result with what `zelvox simulate` wrote: compare.py RESULT REFERENCE... Each reference
# has the grid of the result, which may begin with the first step (libcosim knows no values before).

import csv
import sys


def columns(path):
    with open(path, newline="") as file:  # Maestro writes {m}.motor.speed
        return {name.split(".")[-1]: list(map(float, cells))
                for name, *cells in zip(*csv.reader(file), strict=True)}


result = columns(sys.argv[1])
for name, ours in (column for path in sys.argv[2:] for column in columns(path).items()):
    theirs = result[name]
    assert len(ours) == 501 and len(theirs) in (500, 501), f"{name}: {len(theirs)} points"
    scale = max(map(abs, ours))
    worst = max(abs(a - b) for a, b in zip(ours[-len(theirs):], theirs))
    print(f"{name}: largest difference {worst:.1e} of {scale:.6g}")
    assert worst <= 1e-9 * scale, name
