#!/usr/bin/env python3
"""Measures zelvox-study on this machine and prints Markdown: runs a second with one worker and with two, what a
run costs beside its steps, the same runs in FMPy under dask.delayed, and the limits of one scheduler.

    bench/study.py [--seconds 60] [--costs 0.001,0.005,0.02,0.1] [--write docs/studies.md]

needs the packages of the extras study and jpype, and fmpy, and in ZELVOX_PROGRAM the program where
zelvox was not installed. --seconds is the time in the FMU of each measurement, in three rounds, shared by its workers. With --write the
figures replace what is between the markers in that file.
"""

import argparse
import statistics
import subprocess
import tempfile
import time
from pathlib import Path

import dask
import pandas
import zelvox
from distributed import Client, LocalCluster, get_worker
from zelvox._program import program
from zelvox._study.cluster import connected

MODEL = Path(__file__).parent / "java" / "Busy.java"
ROUNDS = 3  # of which the medians count
MARKERS = "<!-- figures of bench/study.py -->", "<!-- end of the figures -->"


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--seconds", type=float, default=60)
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
    lines = [
        "| time of a run in the FMU | runs/s, 1 worker | runs/s, 2 workers | efficiency of 2 "
        "| time in the FMU, of 2 workers | beside the steps, a run "
        "| FMPy with `dask.delayed`, 2 workers | zelvox-study is |",
        "|---:|---:|---:|---:|---:|---:|---:|---:|",
    ]
    measurements = []
    with connected(None, 1) as one, connected(None, 2) as two:
        per_round = calibrated(one, fmu)
        for cost in costs:
            rounds, runs = cost / per_round / 10, max(20, int(seconds / cost / ROUNDS))
            # By turns, so that whatever else the machine does meets both.
            turns = [(*speed(one, fmu, rounds, runs), *speed(two, fmu, rounds, runs)) for _ in range(ROUNDS)]
            measurements.append((rounds, runs, turns))
        last = limits(two, fmu, directory)
    # FMPy's models are in the processes of its workers, which are therefore two, and which Dask watches also
    # while they wait: they come after the rest.
    processes = LocalCluster(n_workers=2, threads_per_worker=1, dashboard_address=None, local_directory=directory)
    with processes, Client(processes) as fmpy_workers:
        for rounds, runs, turns in measurements:
            single, inside, double, inside_two = (statistics.median(column) for column in zip(*turns))
            efficiency = statistics.median(turn[2] / turn[0] / 2 for turn in turns)
            others = delayed(fmpy_workers, fmu, rounds, min(runs, 2000))
            beside = 1 / single - inside
            lines.append(
                f"| {1e3 * inside:.2f} ms | {single:.1f} | {double:.1f} | {efficiency:.2f} "
                f"| {50 * double * inside_two:.1f} % "
                f"| {1e3 * beside:.2f} ms, {100 * beside / inside:.1f} % | {others:.1f} "
                f"| {double / others:.2f} times as fast |"
            )
    return [*lines, "", *last]


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
    tasks = [dask.delayed(fmpy_run)(str(fmu), rounds, float(which)) for which in range(-20, runs)]
    client.gather(client.compute(tasks[:20], optimize_graph=False))  # warm
    began = time.perf_counter()
    client.gather(client.compute(tasks[20:], optimize_graph=False))  # Dask may have kept what it knows already
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
