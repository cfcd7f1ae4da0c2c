#!/usr/bin/env python3
"""Prints the rounds that bench and StepLoops measured as a table for docs/performance.md.

    bench/tables.py ROUNDS CHART    CHART: written for the picture, the times by width, and behind two empty lines
                                    the ratios with their targets
"""

import re
import sys
from pathlib import Path

# What the library has set itself for (a)/(b).
TARGETS = {
    "fmi2DoStep, 3 inputs and 2 outputs": 1.05, "fmi2DoStep, 1000 and 1000": 1.05,
    "fmi2DoStep, 100000 and 100000": 1.08, "fmi2SetReal of 1 value": 1.05, "fmi2SetReal of 1000 values": 1.05,
    "fmi2GetReal of 1000 values": 1.3, "a step of the demonstration model in ZelvoxSim": 1.1}


def quartiles(values):
    values = sorted(values)
    return [values[round(share * (len(values) - 1))] for share in (0.25, 0.5, 0.75)]


def duration(nanoseconds):
    if nanoseconds < 999.5:
        return f"{nanoseconds:.0f} ns"
    return f"{nanoseconds / 1e3:.2f} µs" if nanoseconds < 99995 else f"{nanoseconds / 1e3:.0f} µs"


rounds = {}
for line in Path(sys.argv[1]).read_text(encoding="utf-8").splitlines():
    name, *times = line.split("\t")
    rounds.setdefault(name, []).append([float(time) for time in times])

widths, ratios = [], []
print("| operation | (a) | (b) | (c) | (a)/(b) | target | (a)/(c) |\n|---|---:|---:|---:|---:|---:|---:|")
for name, measured in rounds.items():
    medians = [quartiles(times)[1] for times in zip(*measured)]
    spreads = [quartiles(round_[0] / round_[other] for round_ in measured) for other in range(1, len(medians))]
    target = TARGETS.get(name)
    cells = [duration(median) for median in medians] + [""] * (3 - len(medians))
    over = [f"**{middle:.2f}** ({low:.2f}–{high:.2f})" for low, middle, high in spreads] + [""] * (2 - len(spreads))
    print("|", " | ".join([name, *cells, over[0], f"{target:.2f}" if target else "", over[1]]), "|")
    width = re.match(r"fmi2DoStep, (\d+) (inputs )?and ", name)
    if width:
        widths.append("\t".join([width[1], *map(str, medians)]))
    ratios.append("\t".join([f'"{name}"', *map(str, spreads[0]), str(target or "NaN")]))
Path(sys.argv[2]).write_text("\n".join([*widths, "", "", *ratios, ""]), encoding="utf-8")
