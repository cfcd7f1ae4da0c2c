"""Studies as a user makes them: with the program, real workers and real processes that are killed. The
environment says where the program is (ZELVOX_PROGRAM); CMakeLists.txt runs each class as one test."""

import csv
import os
import signal
import subprocess
import sys
import tempfile
import time
import unittest
from pathlib import Path

import dask
import numpy
import pandas
import psutil
from distributed import Client

import zelvox
from zelvox._study.errors import StudyError
from zelvox._study.parameters import meaning
from zelvox._study.sampling import samples

PROGRAM = os.environ["ZELVOX_PROGRAM"]
SCHEDULER, WORKER = ([sys.executable, "-m", "distributed.cli." + name] for name in ("dask_scheduler", "dask_worker"))
signal.signal(signal.SIGINT, signal.default_int_handler)  # what runs in the background ignores Ctrl-C


class Case(unittest.TestCase):
    """In a directory of its own, with the FMU of Trial.java."""

    def setUp(self):
        directory = tempfile.TemporaryDirectory(prefix="zelvox study ")
        self.addCleanup(directory.cleanup)
        self.addCleanup(os.chdir, os.getcwd())
        os.chdir(directory.name)
        subprocess.run([PROGRAM, "pack", Path(__file__).with_name("Trial.java"), "-o", "trial.fmu"], check=True, stdout=subprocess.DEVNULL)

    def start(self, *command, **env):
        process = subprocess.Popen(command, env={**os.environ, **env}, stderr=subprocess.PIPE, text=True)
        self.addCleanup(process.stderr.close)
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        return process

    def study(self, *arguments):
        return self.start(sys.executable, "-m", "zelvox._study", "trial.fmu", *arguments)

    def until(self, condition, what):
        end = time.monotonic() + 60
        while not condition():
            self.assertLess(time.monotonic(), end, what)
            time.sleep(0.02)

    def refused(self, reason, *arguments, **options):
        with self.assertRaisesRegex(StudyError, reason) as caught:
            zelvox.study(*arguments, **options)
        self.assertNotIn("\n", str(caught.exception))


class Same(Case):
    def test_grid_on_two_workers_gives_what_the_runs_give_one_by_one(self):
        starts, rates = numpy.linspace(0.1, 1.3, 20), [0.1, 1 / 3, 1e-300, 2, 7, -0.5, 5e-5, 1.5, 1e3, 0]
        table = zelvox.study("trial.fmu", {"start": "0.1:1.3:20", "rate": rates}, workers=2, record="final,maximum",
                             stop_time=0.7, start_values={"pause": 0.001})
        with open("runs.csv", "w") as file:
            file.write("start,rate\n" + "".join(f"{start!r},{rate!r}\n" for start in starts.tolist() for rate in rates))
        subprocess.run([PROGRAM, "batch", "trial.fmu", "--quiet", "--runs=runs.csv", "--output-file=one.csv",
                        "--record=final,maximum", "--stop-time=0.7"], check=True)
        with open("one.csv") as file:
            one = [[float(cell or "nan") for cell in row] for row in list(csv.reader(file))[1:]]
        self.assertEqual(list(table), ["run", "start", "rate", "level.final", "level.maximum", "error"])
        self.assertEqual(set(table["error"]), {""})
        numpy.testing.assert_array_equal(table.drop(columns="error").to_numpy(), numpy.array(one)[:, :-1])

    def test_own_tables_keep_their_numbers_and_every_point_is_kept_when_asked_for(self):
        own = pandas.DataFrame({"run": [30, 10, 20, 9, 7, 8, 1, 3, 2, 4], "rate": [1.0, -1, 2, 3, 4, 5, 6, 7, 8, 9]})
        table = zelvox.study("trial.fmu", runs=own, workers=1, record="all", stop_time=0.2)
        self.assertEqual(table["run"].tolist(), [run for run in own["run"] for _ in range(1 if run == 10 else 3)])
        numpy.testing.assert_array_equal(table["rate"], table["run"].map(own.set_index("run")["rate"]))
        self.assertRegex(table["error"][3], "rate -1")
        numpy.testing.assert_allclose(table["level"], numpy.exp(-table["rate"] * table["time"]).where(table["run"] != 10))


class Faults(Case):
    def test_run_that_fails_or_ends_its_process_fails_alone(self):
        # The first two are batches of their own. What came before -3 in its batch is not out when that ends it.
        rates = [1, 2, 3, 4, -3, 5, -2, 6, -1, 7, 8, 9, 10, 11]
        reasons = {-1: "rate -1, \"quoted\" and more", -2: "the process ended with exit code 3$",
                   -3: "the process ended with signal 9$", -4: "the run took longer than 4 s$"}
        for given, limit in ((rates, None), ([1, -4, 2, -2, 3], 4)):
            table = zelvox.study("trial.fmu", {"rate": given}, workers=1, run_timeout=limit)
            self.assertEqual(table["rate"].tolist(), given)
            for rate, level, error in zip(table["rate"], table["level"], table["error"]):
                self.assertRegex(error, reasons.get(rate, "^$"))
                numpy.testing.assert_allclose(level, numpy.nan if rate < 0 else numpy.exp(-rate))

    def test_worker_that_is_killed_loses_nothing_and_doubles_nothing(self):
        study = self.study("--parameter=start=1:60:60", "--start-value=pause=0.005", "--workers=2", "--output=out")
        self.until(lambda: len(list(Path("out").glob("runs-*"))) > 4, "no batch was made")
        workers = [child for child in psutil.Process(study.pid).children() if "spawn_main" in "".join(child.cmdline())]
        self.assertEqual(len(workers), 2)
        workers[0].kill()
        self.assertEqual((study.wait(), list(Path("out").glob(".*"))), (0, []), study.stderr.read())
        table = pandas.read_parquet("out")
        self.assertEqual(table["run"].tolist(), list(range(1, 61)))
        numpy.testing.assert_allclose(table["level"], table["run"] * numpy.exp(-0.5))


class Resumed(Case):
    def test_study_that_is_interrupted_or_killed_goes_on_with_what_is_missing(self):
        line = ("--parameter=start=1:80:80", "--start-value=pause=0.005", "--workers=2", "--output=out")
        made = {}
        for number, (end, code) in enumerate([(signal.SIGINT, 130), (signal.SIGKILL, -9), (None, 0)]):
            study = self.study(*line, *(["--resume"] if number else []))
            if end:
                self.until(lambda: len(list(Path("out").glob("runs-*"))) > len(made) + 1, "no batch was made")
                study.send_signal(end)
            self.assertEqual(study.wait(), code)
            parts = {part.name: part.stat().st_mtime_ns for part in Path("out").glob("runs-*")}
            self.assertEqual({name: parts.get(name) for name in made}, made, "a part was made again")
            made = parts
        self.assertEqual(pandas.read_parquet("out")["run"].tolist(), list(range(1, 81)))
        # A part that the disk has lost, and one that a killed study did not finish.
        lost = max(made)
        Path("out", lost).write_bytes(b"PAR1")
        Path("out", ".new-runs").write_bytes(b"PAR1")
        grid = {"start": "1:80:80"}
        again = {"start_values": {"pause": 0.005}, "output": "out", "resume": True, "workers": 1}
        self.assertEqual(zelvox.study("trial.fmu", grid, **again)["run"].tolist(), list(range(1, 81)))
        self.assertFalse(Path("out", ".new-runs").exists())
        for reason, wrong in (("out exists; go on with --resume", {"resume": False}),
                              ("made without --stop-time=2;", {"stop_time": 2}),
                              ("made with --start-value=pause=0.005; it was made without --start-value=pause=0",
                               {"start_values": {"pause": 0}})):
            self.refused(reason, "trial.fmu", grid, **{**again, **wrong})
        self.refused("other values", "trial.fmu", {"start": "1:81:80"}, **again)
        with open("trial.fmu", "ab") as fmu:
            fmu.write(b"\0")
        self.refused("trial.fmu was another file", "trial.fmu", grid, **again)


class Cluster(Case):
    def test_processes_of_a_cluster_make_the_runs_or_say_what_they_lack(self):
        self.start(*SCHEDULER, "--host=127.0.0.1", "--port=0", "--no-dashboard", "--scheduler-file=file")
        self.until(Path("file").exists, "the scheduler did not start")
        here = ("--scheduler-file=file", "--host=127.0.0.1", "--nthreads=1", "--no-dashboard")
        good = [self.start(*WORKER, *here)]
        with Client(scheduler_file="file") as client:
            address = client.scheduler.address
            client.wait_for_workers(1)
            for reason, lack in (("no zelvox; pip install", {"PYTHONPATH": ""}),
                                 ("JAVA_HOME is /nowhere", {"JAVA_HOME": "/nowhere"})):
                bad = self.start(*WORKER, *here, **lack)
                client.wait_for_workers(2)
                self.refused(f"^the worker tcp://127.0.0.1:[0-9]+.*{reason}", "trial.fmu", {"rate": [1]}, scheduler=address)
                bad.terminate()
                bad.wait()
            good.append(self.start(*WORKER, *here))
            client.wait_for_workers(2)
            table = zelvox.study("trial.fmu", {"start": range(1, 41)}, start_values={"pause": 0.002}, scheduler=address)
            numpy.testing.assert_allclose(table["level"], numpy.arange(1, 41) * numpy.exp(-0.5))
            left = [child for worker in good for child in psutil.Process(worker.pid).children(True) if "batch" in child.cmdline()]
            self.assertEqual(left, [])


class Usage(Case):
    def test_wrong_settings_are_refused_in_one_sentence(self):
        Path("not.fmu").write_text("nothing")
        Path("gap.csv").write_text("start,rate\n1,\n")
        one = {"rate": [1, 2]}
        for reason, *arguments in (
                ("missing.fmu cannot be read", "missing.fmu", one), ("not.fmu is no FMU", "not.fmu", one),
                ("nothing to vary", "trial.fmu", {}), ("low:high:count", "trial.fmu", {"rate": "0:1"}),
                ("2 values or more", "trial.fmu", {"rate": "0:1:1"}), ("'nan' is no value for 'rate', expected a finite number", "trial.fmu", {"rate": "1,nan"}),
                ("normal:mean:deviation", "trial.fmu", {"rate": "normal:1"}), ("above 0", "trial.fmu", {"rate": "normal:1:-1"}),
                ("with --samples", "trial.fmu", {"rate": "uniform:0:1"}), ("empty, expected a value for 'rate'", "trial.fmu", {"rate": "1,,2"})):
            self.refused(reason, *arguments)
        self.refused("values of a grid", "trial.fmu", one, samples=3)
        self.refused("gap.csv, line 2, column 2: the cell is empty, expected a value for 'rate'", "trial.fmu", runs="gap.csv")
        self.refused("twice", "trial.fmu", runs=pandas.DataFrame({"run": [1, 1], "rate": [1, 2]}))
        self.refused("the picture x.bmp", "trial.fmu", one, plot="x.bmp")
        with dask.config.set({"distributed.comm.timeouts.connect": 0.2}):
            self.refused("no scheduler at tcp://127.0.0.1:9", "trial.fmu", one, scheduler="tcp://127.0.0.1:9")
        study = self.study("--parameter=speed=1,2", "--output=out", "--workers=1", "--quiet")
        self.assertRegex(study.communicate()[1], r"\Azelvox-study: [^\n]*speed[^\n]*\n\Z")
        self.assertEqual((study.returncode, Path("out").exists()), (1, False))

    def test_samples_fill_their_distributions(self):
        # Each of n equally likely parts has one draw; the numbers are the distributions' quartiles.
        for text, quartiles in (("uniform:2:6", (3, 4, 5)), ("normal:1:2", (-0.349, 1, 2.349)),
                                ("lognormal:3:0.5", (2.141, 3, 4.203)), ("loguniform:1:16", (2, 4, 8)),
                                ("triangular:0:1:2", (0.7071, 1, 1.2929))):
            for method in ("latin", "sobol"):
                drawn = samples({"x": meaning("x", text), "y": meaning("y", "uniform:0:1")}, 256, method, 1)
                again, other = (samples({"x": meaning("x", text), "y": meaning("y", "uniform:0:1")}, 256, method, seed) for seed in (1, 2))
                below = [sum(value < quartile for value in drawn[0]) for quartile in quartiles]
                self.assertEqual((below, drawn == again, drawn == other), ([64, 128, 192], True, False), (text, method))

    def test_pictures_show_what_was_varied(self):
        for parameters, samples, told in (
                ({"rate": "0:1:5"}, None, ["rate", "level [m]"]), ({"rate": "0:1:5", "start": [1, 2]}, None, ["rate", "start"]),
                ({"rate": "uniform:0:1", "start": "uniform:5:5.001"}, 20, ["rank correlation -1.00"])):
            zelvox.study("trial.fmu", parameters, samples=samples, workers=1, plot="out.svg")
            for text in told:
                self.assertIn(text, Path("out.svg").read_text())


if __name__ == "__main__":
    unittest.main()
