#!/usr/bin/env python3
"""Measures what a run of `zelvox batch` costs beside its steps, against the same runs in FMPy in one process, and
against one `zelvox simulate` for each, and how much memory many runs take. Prints tables in Markdown.

    bench/batch.py [--quick]    --quick: few and short rounds

Builds the release. Both run the DC motor, reset between two runs, in a process whose JVM is warm: each round is a
handful of runs that the process gets at once, and the time until it has answered all of them. The time beside the
steps is that of a run extrapolated to no steps, from runs of two lengths. FMPy comes into a virtual environment below
build/; without the network its column stays empty."""

import argparse
import os
import statistics
import subprocess
import sys
import tempfile
import time
from pathlib import Path
from typing import Callable, Iterator, List, Optional, Tuple

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


def say(text: str) -> None:
    print(text, file=sys.stderr, flush=True)


def rows(first: int, count: int) -> Iterator[str]:
    for i in range(first, first + count):
        yield f"{i % 24},{0.5 + i % 1000 * 1e-3:.3f}\n"


def seconds_per_run(command: List[str], header: str, warm: int, rounds: int, size: int) -> float:
    """The median over the rounds, in a process that answers each line of its input with one line."""
    with subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True) as process:
        assert process.stdin and process.stdout
        process.stdin.write(header)
        process.stdin.flush()
        process.stdout.readline()
        times, sent = [], 0
        for count in [size] * (warm // size) + [size] * rounds:
            begin = time.perf_counter()
            process.stdin.write("".join(rows(sent, count)))
            process.stdin.flush()
            for _ in range(count):
                if not process.stdout.readline():
                    raise SystemExit(f"{command[0]} ended early")
            times.append((time.perf_counter() - begin) / count)
            sent += count
        process.stdin.close()
    return statistics.median(times[warm // size:])


def per_run(command: Callable[[float], List[str]], header: str, warm: int, rounds: int,
            size: int) -> Tuple[float, float]:
    """Seconds of a long run, and of a run beside its steps."""
    short, long = (seconds_per_run(command(steps * STEP), header, warm, rounds, size) for steps in (SHORT, LONG))
    return long, short - SHORT * (long - short) / (LONG - SHORT)


def fmpy_python() -> Optional[str]:
    directory = ROOT / "build/batch-fmpy"
    python = directory / "bin/python"
    try:
        subprocess.run([sys.executable, "-m", "venv", directory], check=True, stdout=subprocess.DEVNULL)
        subprocess.run([python, "-m", "pip", "install", "--quiet", "--retries", "1", "--timeout", "30",
                        "fmpy==0.3.32", "JPype1==1.7.1"], check=True)
    except subprocess.CalledProcessError:
        say("FMPy cannot be fetched and is left out")
        return None
    return str(python)


def resident_kilobytes(fmu: Path, directory: Path, count: int) -> int:
    """The largest resident memory of a process with so many runs."""
    runs = directory / "runs.csv"
    with runs.open("w", encoding="utf-8") as table:
        table.write("voltage,R\n")
        table.writelines(rows(0, count))
    process = subprocess.Popen([str(ZELVOX), "batch", str(fmu), "--runs", str(runs), "--output-file",
                                str(directory / "results.csv"), "--stop-time", str(SHORT * STEP), "--quiet"])
    _, status, usage = os.wait4(process.pid, 0)
    if status != 0:
        raise SystemExit("zelvox batch failed")
    return usage.ru_maxrss


def microseconds(seconds: float) -> str:
    return f"{seconds * 1e6:.0f} µs"


def main() -> None:
    parser = argparse.ArgumentParser()
    parser.add_argument("--quick", action="store_true", help="few and short rounds")
    quick = parser.parse_args().quick
    rounds, warm, size = (5, 2000, 200) if quick else (51, 20000, 1000)

    say("Building the release")
    subprocess.run(["cmake", "--preset", "release"], cwd=ROOT, check=True, stdout=subprocess.DEVNULL)
    subprocess.run(["cmake", "--build", "--preset", "release"], cwd=ROOT, check=True, stdout=subprocess.DEVNULL)
    with tempfile.TemporaryDirectory() as name:
        directory = Path(name)
        fmu = directory / "motor.fmu"
        subprocess.run([ZELVOX, "pack", "--jar", BUILD / "examples/dcmotor/dcmotor.jar", "-o", fmu], check=True,
                       stdout=subprocess.DEVNULL)

        def batch(record: str) -> Callable[[float], List[str]]:
            return lambda stop: [str(ZELVOX), "batch", str(fmu), "--runs", "-", "--output-file", "-", "--record", record,
                                 "--stop-time", str(stop)]

        results = []
        for what, record in (("zelvox batch", "final"),
                             ("zelvox batch, with statistics of every point", "minimum,maximum,mean,final")):
            say(what)
            results.append((what, *per_run(batch(record), "voltage,R\n", warm, rounds, size)))
        python = fmpy_python()
        if python:
            say("FMPy")
            jar = next(BUILD.glob("**/zelvox.jar"))
            results.append(("FMPy, one instance that is reset", *per_run(
                lambda stop: [python, "-c", FMPY, str(fmu), str(jar), str(stop), str(STEP)], "", warm // 20, rounds,
                size // 20)))
        say("zelvox simulate")
        alone = []
        for _ in range(3 if quick else 21):
            begin = time.perf_counter()
            subprocess.run([ZELVOX, "simulate", fmu, "--start-value=voltage=12", "--start-value=R=0.7", "--quiet",
                            f"--stop-time={LONG * STEP}", f"--output-file={directory / 'alone.csv'}"], check=True)
            alone.append(time.perf_counter() - begin)
        say("Memory")
        memory = [(count, resident_kilobytes(fmu, directory, count))
                  for count in ((1000, 10_000) if quick else (1000, 10_000, 100_000))]

    fastest = results[0][1]
    print(f"| the DC motor, {LONG} steps | a run | beside its steps | over zelvox batch |")
    print("|---|---:|---:|---:|")
    for what, whole, beside in results:
        print(f"| {what} | {microseconds(whole)} | {microseconds(beside)} | {whole / fastest:.1f} |")
    one = statistics.median(alone)
    print(f"| one `zelvox simulate` for each | {microseconds(one)} | | {one / fastest:.0f} |")
    print("\n| runs of one `zelvox batch` | " + " | ".join(f"{count}" for count, _ in memory) + " |")
    print("|---|" + "---:|" * len(memory))
    print("| largest resident memory in kB | " + " | ".join(f"{size}" for _, size in memory) + " |")


if __name__ == "__main__":
    main()
