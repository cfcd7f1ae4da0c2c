#!/usr/bin/env python3
"""Measures what a run of `zelvox batch` costs beside its steps, against the same runs in FMPy in one process, and
against one `zelvox simulate` for each, and how much memory many runs take. Prints tables in Markdown.

    bench/batch.py [--quick]    --quick: few and short rounds

Builds the release. Both run the DC motor, reset between two runs, in a process whose JVM is warm: each round is a
handful of runs that the process gets at once, and the time until it has answered all of them. The time beside the
steps is that of a run extrapolated to no steps, from runs of two lengths. Without fmpy and JPype1 in the Python that
runs this, their row is left out."""

import argparse
import importlib.util
import os
import statistics
import subprocess
import sys
import tempfile
import time
from pathlib import Path
from subprocess import PIPE

ROOT = Path(__file__).resolve().parent.parent
BUILD = ROOT / "build/release"
ZELVOX = BUILD / "tools/zelvox"
STEP = 0.001
SHORT, LONG = 10, 110  # steps of a run

# Answers "voltage R" lines with the speed at the end, as `zelvox batch --runs - --output-file -` does.
FMPY = """
import sys
import jpype
from fmpy import extract, instantiate_fmu, read_model_description, simulate_fmu
fmu, jar, stop, step = sys.argv[1], sys.argv[2], float(sys.argv[3]), float(sys.argv[4])
jpype.startJVM("-Xss8m", "-Xrs", "-XX:+UseSerialGC", "-Xms32m", classpath=[jar])
directory = extract(fmu)
description = read_model_description(directory)
instance = instantiate_fmu(directory, description)
print("ready", flush=True)
for line in sys.stdin:
    voltage, resistance = map(float, line.split(","))
    result = simulate_fmu(directory, model_description=description, fmu_instance=instance, stop_time=stop,
                          output_interval=step, start_values={"voltage": voltage, "R": resistance}, terminate=False)
    instance.terminate()
    instance.reset()
    print(result["speed"][-1], flush=True)
"""


def rows(first, count):
    return [f"{i % 24},{0.5 + i % 1000 * 1e-3:.3f}\n" for i in range(first, first + count)]


def per_run(command, header, warm, rounds, size):
    """Seconds of a long run, and of a run beside its steps, as medians over the rounds. The command, for a stop time,
    answers each line of its input with one line."""
    medians = []
    for steps in (SHORT, LONG):
        times = []
        with subprocess.Popen(command(steps * STEP), stdin=PIPE, stdout=PIPE, text=True, bufsize=1) as process:
            process.stdin.write(header)
            process.stdout.readline()
            for number in range(warm // size + rounds):
                begin = time.perf_counter()
                process.stdin.write("".join(rows(number * size, size)))
                process.stdin.flush()
                if not all(process.stdout.readline() for _ in range(size)):
                    raise SystemExit("a process ended early")
                times.append((time.perf_counter() - begin) / size)
        medians.append(statistics.median(times[warm // size:]))
    short, long = medians
    return long, short - SHORT * (long - short) / (LONG - SHORT)


def alone(fmu, directory):
    """Seconds of a long run by `zelvox simulate`."""
    begin = time.perf_counter()
    subprocess.run([ZELVOX, "simulate", fmu, "--start-value=voltage=12", "--start-value=R=0.7", "--quiet",
                    f"--stop-time={LONG * STEP}", f"--output-file={directory / 'alone.csv'}"], check=True)
    return time.perf_counter() - begin


def resident_kilobytes(fmu, directory, count):
    """The largest resident memory of a process with so many short runs."""
    table = directory / "runs.csv"
    table.write_text("voltage,R\n" + "".join(rows(0, count)))
    process = subprocess.Popen([ZELVOX, "batch", fmu, f"--runs={table}", f"--output-file={directory / 'results.csv'}",
                                f"--stop-time={SHORT * STEP}", "--quiet"])
    _, status, usage = os.wait4(process.pid, 0)
    if status != 0:
        raise SystemExit("zelvox batch failed")
    return usage.ru_maxrss


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--quick", action="store_true", help="few and short rounds")
    quick = parser.parse_args().quick
    rounds, warm, size = (5, 2000, 200) if quick else (51, 20000, 1000)
    for make in (["--preset", "release"], ["--build", "--preset", "release"]):
        subprocess.run(["cmake", *make], cwd=ROOT, check=True, stdout=subprocess.DEVNULL)

    with tempfile.TemporaryDirectory() as name:
        directory = Path(name)
        fmu = directory / "motor.fmu"
        subprocess.run([ZELVOX, "pack", "--jar", BUILD / "examples/dcmotor/dcmotor.jar", "-o", fmu], check=True,
                       stdout=subprocess.DEVNULL)

        def batch(record):
            return per_run(lambda stop: [ZELVOX, "batch", fmu, "--runs=-", "--output-file=-", f"--record={record}",
                                         f"--stop-time={stop}"], "voltage,R\n", warm, rounds, size)

        results = [("zelvox batch", *batch("final")),
                   ("zelvox batch, with statistics of every point", *batch("minimum,maximum,mean,final"))]
        if all(map(importlib.util.find_spec, ("fmpy", "jpype"))):
            jar = BUILD / "java/zelvox.jar"
            results.append(("FMPy, one instance that is reset", *per_run(
                lambda stop: [sys.executable, "-c", FMPY, fmu, jar, str(stop), str(STEP)], "", warm // 20, rounds,
                size // 20)))
        one = statistics.median(alone(fmu, directory) for _ in range(3 if quick else 21))
        counts = [1000, 10_000] if quick else [1000, 10_000, 100_000]
        memory = [resident_kilobytes(fmu, directory, count) for count in counts]

    fastest = results[0][1]
    print(f"| the DC motor, {LONG} steps | a run | beside its steps | over zelvox batch |\n|---|---:|---:|---:|")
    for what, whole, beside in results:
        print(f"| {what} | {whole * 1e6:.0f} µs | {beside * 1e6:.0f} µs | {whole / fastest:.1f} |")
    print(f"| one `zelvox simulate` for each | {one * 1e6:.0f} µs | | {one / fastest:.0f} |\n")
    print("| runs of one `zelvox batch` |", *(f"{count} |" for count in counts))
    print("|---|" + "---:|" * len(counts))
    print("| largest resident memory in kB |", *(f"{size} |" for size in memory))


if __name__ == "__main__":
    main()
