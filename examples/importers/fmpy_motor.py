"""Runs the DC motor in FMPy: pip install fmpy, and the wheel with [jpype] for the second way.

    zelvox exec -- python3 fmpy_motor.py motor.fmu motor.csv
    python3 fmpy_motor.py motor.fmu motor.csv --start-jvm

The first way has a JVM before Python begins; the second one starts it here.
"""

import sys

from fmpy import simulate_fmu
from fmpy.util import write_csv


def main(fmu, output_file, start_jvm=None):
    if start_jvm == "--start-jvm":
        import zelvox

        zelvox.start_jvm()
    result = simulate_fmu(
        fmu,
        stop_time=0.5,  # s
        output_interval=1e-3,  # s, also the communication step
        start_values={"voltage": 12.0, "load": 0.01},  # V, N.m
        output=["speed", "current"],
    )
    write_csv(output_file, result)
    print(f"{len(result)} points, at the end {result['speed'][-1]:.6f} rad/s")


if __name__ == "__main__":
    if len(sys.argv) not in (3, 4):
        sys.exit(__doc__)
    main(*sys.argv[1:])
