#!/usr/bin/env python3
"""Measures zelvox-study on this machine and prints Markdown: runs a second with one worker and with two, what a
run costs beside its steps, the same runs in FMPy under dask.delayed, and the limits of one scheduler.

    bench/study.py [--seconds 20] [--costs 0.001,0.005,0.02,0.1] [--write docs/studies.md]

needs the packages of the extras study and jpype, and fmpy, and in ZELVOX_PROGRAM the program where
zelvox was not installed. --seconds is the time in the FMU of each measurement, shared by its workers. With --write the
figures replace what is between the markers in that file.
"""

import argparse
import subprocess
import tempfile
import time
from pathlib import Path

import dask
import pandas
import zelvox
from distributed import get_worker
from zelvox._program import program
from zelvox._study.cluster import connected

MODEL = Path(__file__).parent / "java" / "Busy.java"
MARKERS = "<!-- figures of bench/study.py -->", "<!-- end of the figures -->"


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--seconds", type=float, default=20)
    parser.add_argument("--costs", default="0.001,0.005,0.02,0.1")
    parser.add_argument("--write", type=Path)
    arguments = parser.parse_args()
    with tempfile.TemporaryDirectory() as directory:
        fmu = Path(directory, "Busy.fmu")
        subprocess.run([program(), "pack", MODEL, "-o", fmu], check=True, stdout=subprocess.DEVNULL)
        costs = [float(cost) for cost in arguments.costs.split(",")]
        lines = measured(fmu, costs, arguments.seconds, Path(directory))
    print("\n".join(lines))
    if arguments.write:
        before, _, rest = arguments.write.read_text().partition(MARKERS[0])
        after = rest.partition(MARKERS[1])[2]
        arguments.write.write_text(before + MARKERS[0] + "\n\n" + "\n".join(lines) + "\n\n" + MARKERS[1] + after)


def measured(fmu, costs, seconds, directory):
    with workers(1) as one:
        per_round = calibrated(one, fmu)
        rounds = {cost: cost / per_round / 10 for cost in costs}
        alone = {cost: speed(one, fmu, rounds[cost], max(20, int(seconds / cost))) for cost in costs}
    lines = [
        "| time of a run in the FMU | runs/s, 1 worker | runs/s, 2 workers | efficiency of 2 "
        "| time in the FMU, of 2 workers | beside the steps, a run "
        "| FMPy with `dask.delayed`, 2 workers | zelvox-study is |",
        "|---:|---:|---:|---:|---:|---:|---:|---:|",
    ]
    with workers(2) as two:
        for cost in costs:
            runs = max(20, int(seconds / cost))
            single, inside = alone[cost]
            double, inside_two = speed(two, fmu, rounds[cost], runs)
            others = delayed(two, fmu, rounds[cost], min(runs, 2000))
            beside = 1 / single - inside
            lines.append(
                f"| {1e3 * inside:.2f} ms | {single:.1f} | {double:.1f} | {double / single / 2:.2f} "
                f"| {50 * double * inside_two:.1f} % "
                f"| {1e3 * beside:.2f} ms, {100 * beside / inside:.1f} % | {others:.1f} "
                f"| {double / others:.2f} times as fast |"
            )
        lines += ["", *limits(two, fmu, directory)]
    return lines


def workers(count):
    return connected(None, count)


def speed(client, fmu, rounds, runs):
    """Runs a second, with the start of the JVMs, and the seconds of a run within the FMU."""
    began = time.perf_counter()
    table = zelvox.study(fmu, {"which": range(runs)}, start_values={"rounds": rounds}, scheduler=client)
    passed = time.perf_counter() - began
    assert (table["error"] == "").all()
    return runs / passed, table["seconds"].mean()


def calibrated(client, fmu):
    """Seconds of a round when nobody disturbs it, as at the best of many times."""
    table = zelvox.study(fmu, {"which": range(100)}, start_values={"rounds": 1e4}, scheduler=client)
    return table["seconds"].min() / 1e4 / 10


def delayed(client, fmu, rounds, runs):
    """The same in FMPy: a task a run, a JVM and an unpacked FMU that stay in each worker."""
    tasks = [dask.delayed(fmpy_run)(str(fmu), rounds, float(which)) for which in range(runs)]
    client.gather(client.compute(tasks[:20], optimize_graph=False))  # warm
    began = time.perf_counter()
    client.gather(client.compute(tasks, optimize_graph=False))
    return runs / (time.perf_counter() - began)


def fmpy_run(fmu, rounds, which):
    import fmpy

    worker = get_worker()
    zelvox.start_jvm()
    zelvox.attach_thread()
    if not hasattr(worker, "unpacked"):
        worker.unpacked = fmpy.extract(fmu, worker.local_directory + "/fmpy"), fmpy.read_model_description(fmu)
    directory, description = worker.unpacked
    result = fmpy.simulate_fmu(
        directory,
        model_description=description,
        start_values={"rounds": rounds, "which": which},
        output=["result", "seconds"],
    )
    return float(result["result"][-1])


def limits(client, fmu, directory):
    """Of the scheduler, of the client that writes the results, and the sizes that travel."""
    tasks = 5000
    began = time.perf_counter()
    client.gather(client.map(abs, range(tasks), pure=False))
    tasks_a_second = tasks / (time.perf_counter() - began)
    runs = 2000
    zelvox.study(fmu, {"which": range(runs)}, start_values={"rounds": 100}, scheduler=client, output=directory / "out")
    parts = list((directory / "out").glob("*.parquet"))
    size = sum(part.stat().st_size for part in parts)
    pandas.read_parquet(directory / "out").to_parquet(directory / "one.parquet")
    return [
        f"One scheduler took {tasks_a_second:.0f} empty tasks/s from two workers. "
        f"The FMU has {fmu.stat().st_size / 1000:.0f} kB. "
        f"{runs} runs with one parameter and two results took {size / runs:.0f} bytes a run in {len(parts)} parts, "
        f"{(directory / 'one.parquet').stat().st_size / runs:.0f} bytes a run in a single one. "
        f"The client wrote {parts_a_second(fmu, directory):.0f} parts/s of 100 runs.",
    ]


def parts_a_second(fmu, directory):
    from zelvox._study.plan import Wish, plan
    from zelvox._study.store import Store

    count, size = 200, 100
    chosen = plan(fmu, Wish({"which": range(count * size)}, None, "", 0, None), None, {})
    store = Store(directory / "parts", chosen, resume=False)
    began = time.perf_counter()
    for first in range(0, count * size, size):
        rows = "".join(f"{run + 1},{run},0.{run},0.0{run},\n" for run in range(first, first + size))
        store.write(first, first + size, f"run,which,result,seconds,error\n{rows}".encode())
    passed = time.perf_counter() - began
    store.close()
    return count / passed


if __name__ == "__main__":
    main()
