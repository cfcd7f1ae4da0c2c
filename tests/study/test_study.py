"""Studies as a user makes them: with the program, real workers and real processes that are killed. The
environment says where the program is (ZELVOX_PROGRAM); CMakeLists.txt runs each class as one test."""

import asyncio
import collections
import contextlib
import csv
import errno
import functools
import itertools
import json
import os
import random
import signal
import subprocess
import sys
import tempfile
import threading
import time
import unittest
import unittest.mock
import zipfile
from pathlib import Path
from types import SimpleNamespace

import numpy
import pandas
import psutil
from distributed import Client
from distributed.scheduler import KilledWorker

import zelvox
from zelvox._study import engine, pictures, worker
from zelvox._study.child import Unwanted
from zelvox._study.errors import StudyError
from zelvox._study.parameters import meaning
from zelvox._study.plan import Wish, _carried
from zelvox._study.plan import plan as planned
from zelvox._study.sampling import samples
from zelvox._study.store import Store
from zelvox._study.worker import StudyOnWorker

PROGRAM = os.environ["ZELVOX_PROGRAM"]
SCHEDULER, WORKER = ([sys.executable, "-m", "distributed.cli." + name] for name in ("dask_scheduler", "dask_worker"))
signal.signal(signal.SIGINT, signal.default_int_handler)  # what runs in the background ignores Ctrl-C


# Of the FMU that has every type of variable and needs no Java (tests/tools/stub).
XML = """<fmiModelDescription fmiVersion="2.0" modelName="stub" guid="g"><CoSimulation modelIdentifier="stub"/>
<DefaultExperiment stopTime="1" stepSize="0.5"/><ModelVariables>""" + "".join(
    f'<ScalarVariable name="{name}" valueReference="{number}" causality="{causality}" variability="discrete">'
    f'<{kind} {start}/></ScalarVariable>' for name, number, causality, kind, start in (
        ("set", 0, "input", "Real", 'start="0"'), ("moved", 1, "output", "Real", ""),
        ("count", 0, "input", "Integer", 'start="0"'), ("counted", 1, "output", "Integer", ""),
        ("locked", 0, "input", "Boolean", 'start="false"'), ("held", 1, "output", "Boolean", ""),
        ("label", 0, "input", "String", 'start=""'), ("shown", 1, "output", "String", ""))) + """</ModelVariables>
</fmiModelDescription>"""
TEXTS = ["007", "010", "1e5", "1.10", "12345678901234567890", " a ", "nan", "", "1_0", "l\r\nm\r\"n\", ;\t", "ü€", "true", "7"]
NOWHERE = "tcp://127.0.0.1:9"  # a scheduler, where what is refused needs none


@functools.cache
def trial():
    with tempfile.TemporaryDirectory() as directory:
        fmu = Path(directory, "trial.fmu")
        subprocess.run([PROGRAM, "pack", Path(__file__).with_name("Trial.java"), "-o", fmu], check=True, capture_output=True)
        return fmu.read_bytes()


class Case(unittest.TestCase):
    """In a directory of its own, with the FMU of Trial.java."""

    def setUp(self):
        directory = tempfile.TemporaryDirectory(prefix="zelvox study ")
        self.addCleanup(directory.cleanup)
        self.addCleanup(os.chdir, os.getcwd())
        os.chdir(directory.name)
        Path("trial.fmu").write_bytes(trial())

    def stub(self, plan="", xml=XML):
        with zipfile.ZipFile("stub.fmu", "w") as archive:
            archive.writestr(zipfile.ZipInfo("modelDescription.xml"), xml)  # the same bytes at any time
            archive.write(os.environ["STUB"], "binaries/linux64/stub.so")
        for name, value in (("STUB_TRACE", "/dev/null"), ("STUB_PLAN", plan)):
            self.enterContext(unittest.mock.patch.dict(os.environ, {name: value}))
        return "stub.fmu"

    def start(self, *command, **env):
        process = subprocess.Popen(command, env={**os.environ, **env}, stderr=subprocess.PIPE, text=True)
        self.addCleanup(process.stderr.close)
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        return process

    def study(self, *arguments, fmu="trial.fmu", **env):
        return self.start(sys.executable, "-m", "zelvox._study", fmu, *arguments, **env)

    def scheduler(self, host="127.0.0.1", **env):
        """The address of one, which workers find by its file."""
        self.start(*SCHEDULER, f"--host={host}", "--port=0", "--no-dashboard", "--scheduler-file=file", **env)
        self.until(lambda: Path("file").exists() and Path("file").stat().st_size, "the scheduler did not start")
        return json.loads(Path("file").read_text())["address"]

    def worker(self, *options, **lack):
        return self.start(*WORKER, "--scheduler-file=file", "--host=127.0.0.1", "--nthreads=1", "--no-dashboard", *options, **lack)

    def until(self, condition, what, seconds=60):
        end = time.monotonic() + seconds
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


class Values(Case):
    def test_every_type_arrives_as_it_was_given(self):
        fmu = self.stub()
        count = len(TEXTS)
        frame = pandas.DataFrame({
            "label": TEXTS, "locked": [place % 3 == 0 for place in range(count)],
            "count": [2**31 - 1 - place * 10**8 for place in range(count)],
            "set": [0.1, 1 / 3, -0.0, 5e-324, 1.7976931348623157e308, 1e22, 2**53, 7, 1e-5, -2.5, 100, 1e5, 12345678.9]})
        for record in ("final", "all"):
            table = zelvox.study(fmu, runs=frame, workers=1, record=record)
            table = table if record == "final" else table[table["time"] == 1].reset_index()
            for given, output in (("label", "shown"), ("locked", "held"), ("count", "counted"), ("set", "moved")):
                self.assertEqual(table[given].tolist(), frame[given].tolist())
                self.assertEqual(table[output].tolist(), frame[given].tolist())
            self.assertEqual(set(table["error"]), {""})
        table = zelvox.study(fmu, {"label": "007, a,,1:2:3", "count": "1:5:3", "locked": [True, "false"], "set": numpy.float32(0.1)},
                             start_values={}, workers=1)
        self.assertEqual(list(zip(table["shown"], table["counted"], table["held"])),
                         [(label, count, held) for label in ("007", " a", "", "1:2:3") for count in (1, 3, 5) for held in (1, 0)])
        self.assertEqual(set(table["moved"]), {float(numpy.float32(0.1))})
        table = zelvox.study(fmu, {"set": [1], "label": "uniform:1:2"}, start_values={"locked": True, "count": -3}, workers=1)
        self.assertEqual(table[["held", "shown", "counted"]].values.tolist(), [[1, "uniform:1:2", -3]])

    def test_table_gives_the_runs_that_it_gives_in_a_batch(self):
        fmu = self.stub()
        Path("odd.csv").write_bytes('\ufeffrun\tlabel\t count\tlocked\r\n\r\n9\t007\t +1e3\ttrue\r\n-4\t" a\n\tb"\t2\t0\r\n70\t""\t3\t1'.encode())
        one = subprocess.run([PROGRAM, "batch", fmu, "--runs=odd.csv", "--output-file=-"], check=True, capture_output=True, text=True)
        study = self.study("--runs=odd.csv", "--output=out", "--workers=1", "--quiet", fmu=fmu)
        self.assertEqual((study.communicate()[1], study.returncode), ("", 0))
        rows = [[float(cell) if name not in ("label", "shown", "error") else cell for name, cell in row.items()]
                for row in csv.DictReader(one.stdout.splitlines(True))]
        table = pandas.read_parquet("out")
        self.assertEqual((list(table), table.values.tolist()), (one.stdout.splitlines()[0].replace('"', "").split(","), rows))
        self.assertEqual([row[:4] for row in rows], [[9, "007", 1000, 1], [-4, " a\n\tb", 2, 0], [70, "", 3, 1]])

    def test_what_is_no_value_is_refused_before_a_worker_is_asked(self):
        fmu = self.stub()
        Path("gap.csv").write_text("set,count\n1,\n")
        for reason, given in (
                ("^'1_0' is no value for 'set', expected a finite number", {"set": ["1_0"]}), ("'nan' is no value for 'set'", {"set": "1,nan"}),
                ("^the FMU has no variable 'lable', did you mean 'label'", {"lable": "a:b"}), ("'2' is no value for 'locked'", {"locked": [2]}),
                ("'1.5' is no value for 'count'", {"count": [1, 1.5]}), ("label is a text, .* 7,", {"label": ["7", 7]}),
                ("expected a text in UTF-8", {"label": ["\udcff"]}), ("expected a text in UTF-8", {"label": ["a\0b"]}),
                ("empty, expected a value for 'set'", {"set": "1,,2"}),
                ("neither low:high:count nor a distribution .uniform, normal", {"set": "gauss:2:1"}), ("low:high:count nor", {"set": "0:1"}),
                ("2 values or more", {"set": "0:1:1"}), ("2 values or more", {"set": "0:1:1_0"}),
                ("finite numbers that differ", {"set": "-1e308:1e308:3"}),
                ("normal:mean:deviation", {"set": "normal:1"}), ("above 0", {"set": "normal:1:-1"}), ("with --samples", {"set": "uniform:0:1"}),
                ("low must be below high", {"set": "uniform:-1e308:1e308"}), ("nothing to vary", {}), ("there are no runs", {"set": []}),
                ("a variable with the name run cannot", {"run": [1, 2]})):
            self.refused(reason, fmu, given, scheduler=NOWHERE)
        for reason, options in (("values of a grid", {"parameters": {"set": [1]}, "samples": 3}),
                                ("is no value for 'count'", {"parameters": {"count": "uniform:0:9"}, "samples": 3}),
                                ("gap.csv, line 2, column 2: the cell is empty", {"runs": "gap.csv"}),
                                ("twice", {"runs": pandas.DataFrame({"run": [1, 1], "set": [1, 2]})}),
                                ("'2' is no value for 'locked'", {"parameters": {"set": [1]}, "start_values": {"locked": 2}}),
                                ("'set' has a --start-value as well", {"parameters": {"set": [1]}, "start_values": {"set": 2}}),
                                ("above 0", {"parameters": {"set": [1]}, "run_timeout": float("nan")}),
                                ("no variable 'mvoed', did you mean 'moved'", {"parameters": {"set": [1]}, "output_variables": ["mvoed"]})):
            self.refused(reason, fmu, scheduler=NOWHERE, **options)


class Processes(Case):
    """What a worker does with its processes, and the store with what comes of them; there is no Dask."""

    def chosen(self, plan="", labels="12345678", run_timeout=None, **options):
        return planned(Path(self.stub(plan)), Wish({"label": list(labels)}, None, "", 0, None), run_timeout, options)

    def on_worker(self, job, act):
        """What `act` does with the worker's part of the study. Nothing is left of it."""
        os.makedirs("tmp", exist_ok=True)
        async def life():
            plugin = StudyOnWorker(job)
            await plugin.setup(SimpleNamespace(local_directory="."))
            try:
                return await asyncio.to_thread(act, plugin)
            finally:
                await plugin.teardown(None)
                self.assertEqual((self.processes(), list(Path().glob("zelvox-study-*")), os.listdir("tmp")), ([], [], []))
        with unittest.mock.patch.dict(os.environ, {"TMPDIR": os.path.abspath("tmp")}):
            return asyncio.run(life())

    def processes(self):
        """Those that work in this directory, but for this one."""
        return [one for one in psutil.process_iter(["cwd"]) if (one.info["cwd"] or "").startswith(f"{os.getcwd()}/")]

    def made(self, chosen, act=lambda plugin, rows: plugin.make(rows, lambda: True)):
        rows = engine._rows(chosen.runs, 0, chosen.runs.count)
        return self.on_worker(chosen.job, lambda plugin: act(plugin, rows))

    def test_each_run_is_there_once_and_whole_or_has_a_reason(self):
        at, step = 'fmi2SetString(vr=[0], value=["4"', "fmi2DoStep(currentCommunicationPoint=0.5"
        ended = "^the process ended with exit code 0$"
        for number, (plan, reason, options) in enumerate((
                (f"12 0 {at}", ended, {}), (f"12 0 {step}", ended, {}),
                (f"3 3 {at}|no", "failed: no", {}), (f"3 3 {step}|no", "failed: no", {}),
                ('15 0 fmi2GetString(vr=[1], value=["4"', "^a text of the results is not in UTF-8$", {}),
                ("16 3 fmi2SetupExperiment", "no run", {}),  # the third run in a process, which is not to blame
                ('14 0 fmi2SetString(vr=[0], value=["1"\n' f"12 0 {at}", ended, {}),  # what it has started stays
                (f"13 0 {at}", "^the run took longer than 3 s$", {"run_timeout": 3}),
                ("", "no run", {"run_timeout": float("inf")}), ("", "no run", {"run_timeout": 1e10}))):
            for record in ("final", "all"):
                with self.subTest(plan, record=record):
                    chosen = self.chosen(plan, record=record, **options)
                    with contextlib.closing(Store(Path(f"{record}{number}"), chosen, False)) as store:
                        bad = "" if reason == "no run" else "12345678" if "DoStep" in plan else "4"
                        self.assertEqual(store.write(0, 8, self.made(chosen)[0]), len(bad))
                        table = store.frame()
                        self.assertEqual(store.not_finite(), 0)
                    points = [label for label in "12345678" for _ in range(1 if record == "final" or label in bad else 3)]
                    self.assertEqual((table["label"].tolist(), table["run"].tolist()), (points, list(map(int, points))))
                    for label, shown, error in zip(table["label"], table["shown"], table["error"]):
                        self.assertEqual(shown, "" if label in bad else label)
                        self.assertRegex(error, reason if label in bad else "^$")

    def test_limit_ends_what_the_model_started_and_costs_no_start_after_the_last_run(self):
        chosen = self.chosen('14 0 fmi2SetString(vr=[0], value=["1"\n13 0 fmi2SetString(vr=[0], value=["2"', "12", 3)
        os.environ["STUB_TRACE"] = os.path.abspath("trace")
        def act(plugin, rows):
            made = plugin.make(rows, lambda: True)
            self.until(lambda: not self.processes(), "a process of the model is left")
            return made
        self.assertIn(b"longer than 3 s", self.made(chosen, act)[0])
        self.assertEqual(Path("trace").read_text().count("fmi2Instantiate"), 1)

    def test_processes_that_hang_or_that_nobody_waits_for_end(self):
        with unittest.mock.patch.object(worker, "_START", 0.3), self.assertRaisesRegex(StudyError, "not ready to run after 0.5 s"):
            self.made(self.chosen("13 0 fmi2Instantiate", run_timeout=0.2))
        end = time.monotonic() + 0.5
        def unwanted(plugin, rows):
            with self.assertRaises(Unwanted):
                plugin.make(rows, lambda: time.monotonic() < end)
            self.assertEqual(self.processes(), [])  # and none that still makes it is kept for the next task
        self.made(self.chosen("13 0 fmi2DoStep"), unwanted)
        def act(plugin, rows):
            for _ in range(2):
                plugin.make(rows, lambda: True)
                self.until(lambda: not self.processes(), "an idle process is left")
        with unittest.mock.patch.object(worker, "_IDLE", 0.2):
            self.made(self.chosen(), act)

    def test_start_that_a_signal_ends_is_tried_again_and_others_are_told(self):
        chosen = self.chosen("12 3 fmi2Instantiate")
        with self.assertRaisesRegex(StudyError, "exit code 3"):
            self.made(chosen)
        again = os.path.abspath("again")
        Path("program").write_text(f'#!/bin/sh\n[ -e "{again}" ] || {{ touch "{again}"; kill -9 $$; }}\nexec "{PROGRAM}" "$@"\n')
        Path("program").chmod(0o755)
        chosen = self.chosen()
        with unittest.mock.patch.dict(os.environ, {"ZELVOX_PROGRAM": os.path.abspath("program")}):
            self.assertEqual(self.made(chosen)[0].count(b"\n"), 9)

    def test_store_takes_nothing_but_what_was_asked_for(self):
        rows = [b'%d,"%d",0,0,0,"%d",\n' % (run, run, run) for run in range(1, 9)]
        points = [b'%d,0,0,0,0,"%d",\n%d,1,0,0,0,"%d",\n%d,,,,,,\n' % (run, run, run, run, run) for run in range(1, 9)]
        rows[4], points[4] = (row.replace(b",0,0,0,", b",nan,0,0,", 1) for row in (rows[4], points[4]))  # a number of several
        for record, good, header in (("final", rows, b'"run","label"'), ("all", points, b'"run","time"')):
            chosen = self.chosen(record=record)
            header += b',"moved","counted","held","shown","error"\n'
            bad = [good[:-1], good + good[-1:], good[1:] + good[:1], good[:3] + [good[3].replace(b"4,", b"9,", 1)] + good[4:], []]
            bad += [[*good[:-1], good[-1].replace(b"8,,,,,,\n", b"")],
                    [*good[:3], good[3].replace(b"\n4,1", b"\n5,1"), *good[4:]]] if record == "all" else [
                        good[:3] + [good[3].replace(b'4,"4"', b'4,"04"')] + good[4:]]
            with contextlib.closing(Store(Path(record), chosen, False)) as store:
                for wrong in bad:
                    with self.assertRaisesRegex(StudyError, "runs 1 to 8 came back"):
                        store.write(0, 8, header + b"".join(wrong))
                self.assertEqual(store.write(0, 8, header + b"".join(good)), 0)
                self.assertEqual((len(store.frame()), store.not_finite()), (8 if record == "final" else 16, 1))

    def test_part_is_on_the_disk_before_it_has_its_name_or_the_study_says_why_not(self):
        chosen, rows = self.chosen(labels="1"), b'"run","label","moved","counted","held","shown","error"\n1,"1",0,0,0,"1",\n'
        os.mkdir("out")  # by a study that was killed at once
        with contextlib.closing(Store(Path("out"), chosen, True)) as store:
            did = unittest.mock.Mock(fsync=unittest.mock.Mock(wraps=os.fsync), replace=unittest.mock.Mock(wraps=os.replace))
            with unittest.mock.patch.multiple(os, fsync=did.fsync, replace=did.replace):
                store.write(0, 1, rows)
            self.assertEqual([call[0] for call in did.mock_calls], ["fsync", "replace", "fsync"])
            full = OSError(errno.ENOSPC, os.strerror(errno.ENOSPC))
            with unittest.mock.patch.object(os, "fsync", side_effect=full):
                with self.assertRaisesRegex(StudyError, "^out cannot be written: No space .*--resume$"):
                    store.write(0, 1, rows)

    def test_part_that_is_not_as_it_was_written_is_made_again(self):
        chosen = self.chosen(labels=[str(label) for label in range(60)])
        rows = [b'%d,"%d",%d,0,0,"x",\n' % (run + 1, run, run) for run in range(60)]
        header = b'"run","label","moved","counted","held","shown","error"\n'
        with contextlib.closing(Store(Path("out"), chosen, False)) as store:
            for start in (0, 10, 20, 30, 40, 45, 50):  # one of which has runs of others, too
                store.write(start, start + 10, header + b"".join(rows[start : start + 10]))
        tables = (pandas.DataFrame({"run": [1, last], "label": ["a", "b"]}) for last in (2, 3))
        one, two = (planned(Path("stub.fmu"), Wish(None, None, "", 0, table), None, {}).settings for table in tables)
        self.assertNotEqual(one, two)
        for reason, settings in (
                ("made with 60 runs of label with .* and without 2 runs of label with ", self.chosen(labels="ab").settings),
                (r"another study, made with zelvox 0\+clone and without zelvox 0.0.2;", ["zelvox 0.0.2", *chosen.settings[1:]])):
            with self.assertRaisesRegex(StudyError, reason):
                Store(Path("out"), chosen._replace(settings=settings), True)
        os.mkdir("out/runs-.parquet")  # what cannot be opened is let go
        with self.assertRaisesRegex(StudyError, "^out cannot be written: "):
            Store(Path("out"), chosen, True)
        os.rmdir("out/runs-.parquet")
        parts = sorted(Path("out").glob("runs-*"))
        parts.pop(5)
        content = bytearray(parts[0].read_bytes())
        content[len(content) // 3] ^= 1
        parts[0].write_bytes(content)
        table = pandas.read_parquet(parts[1])
        pandas.concat([table, table]).to_parquet(parts[1])
        table = pandas.read_parquet(parts[2])
        table.loc[3, "moved"] += 1
        table.to_parquet(parts[2])
        parts[3].write_bytes(parts[3].read_bytes()[:100])
        Path("out", "runs-000000000041-000000000045.parquet").write_bytes(parts[4].read_bytes())
        Path("out", ".new-runs").write_bytes(b"PAR1")
        Path("out", "runs-of-mine.csv").touch()
        with contextlib.closing(Store(Path("out"), chosen, True)) as store:
            self.assertEqual((store.done, list(store.missing())), (20, [(0, 40)]))
            self.assertEqual(sorted(os.listdir("out")), ["_study.json", *(part.name for part in parts[4:]), "runs-of-mine.csv"])
            with self.assertRaisesRegex(StudyError, "^out is being written by another study$"):
                Store(Path("out"), chosen, True)


class Faults(Case):
    def test_run_that_fails_or_ends_its_process_fails_alone(self):
        # The first two are batches of their own. What came before -3 in its batch is not out when that ends it.
        rates = [1, 2, 3, 4, -3, 5, -2, 6, -1, 7, 8, 9, 10, 11]
        reasons = {-1: "rate -1, \"quoted\" and more", -2: "the process ended with exit code 3$",
                   -3: "the process ended with signal 9$"}
        table = zelvox.study("trial.fmu", {"rate": rates}, workers=1)
        self.assertEqual(table["rate"].tolist(), rates)
        for rate, level, error in zip(table["rate"], table["level"], table["error"]):
            self.assertRegex(error, reasons.get(rate, "^$"))
            numpy.testing.assert_allclose(level, numpy.nan if rate < 0 else numpy.exp(-rate))


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
            self.assertGreater(len(parts), len(made), "what was made is gone")
            made = parts
        self.assertEqual(pandas.read_parquet("out")["run"].tolist(), list(range(1, 81)))
        Path("out", max(made)).write_bytes(b"PAR1")  # a part that the disk has lost
        grid = {"start": "1:80:80"}
        again = {"start_values": {"pause": 0.005}, "output": "out", "resume": True, "workers": 1}
        self.assertEqual(zelvox.study("trial.fmu", grid, **again)["run"].tolist(), list(range(1, 81)))
        for reason, wrong in (("out exists; go on with --resume", {"resume": False}),
                              ("made without --stop-time=2;", {"stop_time": 2}),
                              ("made without --run-timeout=9;", {"run_timeout": 9}),
                              ("made with --start-value=pause=0.005 and without --start-value=pause=0;",
                               {"start_values": {"pause": 0}})):
            self.refused(reason, "trial.fmu", grid, **{**again, **wrong})
        self.refused("with 80 runs of start .* and without 80 runs of start ", "trial.fmu", {"start": "2:81:80"}, **again)
        with open("trial.fmu", "ab") as fmu:
            fmu.write(b"\0")
        self.refused("with trial.fmu of .* and without trial.fmu of ", "trial.fmu", grid, **again)


class Cluster(Case):
    def children(self, worker):
        return [one for one in psutil.Process(worker.pid).children(True) if "batch" in quietly(one.cmdline)]

    def test_equal_studies_and_lost_results_do_not_end_each_other(self):
        fmu = self.stub()
        address, workers = self.scheduler(), [self.worker("--no-nanny") for _ in range(2)]
        line = {"label": [str(label) for label in range(200)]}
        with Client(address) as client:
            client.wait_for_workers(2)
            real, killed = client.gather, []
            def gather(futures):
                """Before the second fetch, the worker that has another finished batch dies with it."""
                made = real(futures)
                others = {key for key, state in client.futures.items() if state.status == "finished"}
                others -= {future.key for future in futures}
                if others and not killed:
                    other = min(others)
                    [address] = client.who_has()[other]
                    pid = client.run(os.getpid, workers=[address])[address]
                    killed.append(pid)
                    for worker in workers:  # the other one does not make it again before anybody looks
                        worker.send_signal(signal.SIGKILL if worker.pid == pid else signal.SIGSTOP)
                        threading.Timer(5, worker.send_signal, [signal.SIGCONT]).start()
                    self.until(lambda: client.futures[other].status != "finished", "no result was lost")
                return made
            client.gather = gather
            def other():
                tables.append(zelvox.study(fmu, line, scheduler=address))
            tables, thread = [], threading.Thread(target=other)
            thread.start()
            tables.append(zelvox.study(fmu, line, scheduler=client))
            thread.join()
        self.assertEqual([table["shown"].tolist() for table in tables], [line["label"]] * 2)
        self.assertEqual(len(killed), 1)

    def test_processes_end_when_the_client_was_killed(self):
        fmu = self.stub('13 0 fmi2SetString(vr=[0], value=["2"')
        address, worker = self.scheduler(), self.worker("--no-nanny")
        study = self.study("--parameter=label=1,2,3", "--output=out", f"--scheduler={address}", fmu=fmu)
        self.until(lambda: list(Path("out").glob("runs-*")), "no batch was made")
        self.assertEqual(len(self.children(worker)), 1)
        study.kill()
        self.until(lambda: not self.children(worker), "a process is left")

    def test_processes_of_a_cluster_make_the_runs_or_say_what_they_lack(self):
        os.makedirs("old/zelvox")
        Path("old/zelvox/__init__.py").write_text("__version__ = '9'")
        address, good = self.scheduler(), [self.worker()]
        with Client(address) as client:
            client.wait_for_workers(1)
            for reason, lack in (("no zelvox; install it", {"PYTHONPATH": ""}),
                                 ("JAVA_HOME is /nowhere", {"JAVA_HOME": "/nowhere"}),
                                 (r"has zelvox 9; install 0\+clone there", {"PYTHONPATH": "old"})):
                bad = self.worker(**lack)
                client.wait_for_workers(2)
                self.refused(f"^the worker tcp://127.0.0.1:[0-9]+.*{reason}", "trial.fmu", {"rate": [1]}, scheduler=address)
                bad.terminate()
                bad.wait()
            good.append(self.worker())
            client.wait_for_workers(2)
            table = zelvox.study("trial.fmu", {"start": range(1, 41)}, start_values={"pause": 0.002}, scheduler=address)
            numpy.testing.assert_allclose(table["level"], numpy.arange(1, 41) * numpy.exp(-0.5))
            self.assertEqual([self.children(worker) for worker in good], [[], []])


class Killed(Case):
    def test_table_is_that_of_an_undisturbed_study_whoever_is_killed(self):
        """STUDY_KILLS kills of clients, workers and processes `zelvox batch` at random moments, which STUDY_SEED says."""
        kills, count, seed = (int(os.environ.get(name, usual)) for name, usual in (("STUDY_KILLS", 6), ("STUDY_RUNS", 100), ("STUDY_SEED", 1)))
        self.stub()
        chance, done = random.Random(seed), collections.Counter()
        labels = [f"0{place}\n\r" for place in range(count)]
        runs = pandas.DataFrame({"run": chance.sample(range(10**6), count), "label": labels, "set": [place / 7 for place in range(count)]})
        runs.to_csv("runs.csv", index=False, quoting=csv.QUOTE_NONNUMERIC)
        line = {"step_size": 5e-4, "output_interval": 0.5}  # about ten milliseconds a run
        whole = {record: zelvox.study("stub.fmu", runs=runs, record=record, workers=2, **line) for record in ("final", "all")}
        self.assertEqual((len(whole["final"]), len(whole["all"]), set(whole["all"]["error"])), (count, 3 * count, {""}))
        address, nannies = self.scheduler(), []
        def goes_on(study, place, made):
            # Workers are started again when they die, unless that is while they start.
            if not nannies or nannies[-1].poll() is not None:
                nannies.append(self.worker("--nworkers=2"))
            return study.poll() is not None or Path(place).exists() and len(os.listdir(place)) > max(made, 1)
        for number in itertools.count():
            record = "all" if number % 2 else "final"
            place, study = f"out{number}", None
            while study is None or study.poll() is None or study.returncode:
                if study is None or study.poll() is not None:
                    said = study.stderr.read() if study else ""
                    self.assertRegex(said, r"\A([^\n]+\n)?\Z")  # none, or a reason in a sentence
                    study = self.study("--runs=runs.csv", f"--record={record}", "--step-size=5e-4", "--output-interval=0.5", f"--output={place}",
                                       f"--scheduler={address}", "--quiet", *(["--resume"] if Path(place).exists() else []), fmu="stub.fmu")
                made = len(os.listdir(place)) if Path(place).exists() else 0
                self.until(lambda: goes_on(study, place, made), "no batch was made", 300)
                time.sleep(chance.uniform(0, 0.5))
                workers = [one for one in quietly(psutil.Process(nannies[-1].pid).children) if "spawn_main" in "".join(quietly(one.cmdline))]
                victims = {"client": [study], "worker": workers, "process": [one for worker in workers for one in quietly(worker.children, True)]}
                kind = chance.choice(sorted(victims))
                if victims[kind] and sum(done.values()) < kills and study.poll() is None and Path(place).exists():
                    quietly(chance.choice(victims[kind]).kill)
                    done[kind] += 1
            pandas.testing.assert_frame_equal(pandas.read_parquet(place), whole[record])
            if sum(done.values()) >= kills and number:
                break
        print(f"seed {seed}: killed {dict(done)} in {number + 1} studies", file=sys.stderr)


def quietly(call, *arguments):
    try:
        return call(*arguments)
    except psutil.Error:
        return []


class Usage(Case):
    def test_wrong_settings_are_refused_in_one_sentence(self):
        Path("not.fmu").write_text("nothing")
        for reason, fmu in (("missing.fmu cannot be read", "missing.fmu"), ("not.fmu is no FMU", "not.fmu"),
                            ("the picture x.bmp", "trial.fmu")):
            self.refused(reason, fmu, {"rate": [1, 2]}, plot="x.bmp")
        study = self.study("--parameter=speed=1,2", "--output=out", "--workers=1", "--quiet")
        self.assertRegex(study.communicate()[1], r"\Azelvox-study: [^\n]*speed[^\n]*\n\Z")
        self.assertEqual((study.returncode, Path("out").exists()), (1, False))
        self.refused("two columns 'error', expected other", self.stub(xml=XML.replace("held", "error")), {"set": [1]},
                     record="all", workers=1)
        files = {}  # of one name, from several directories
        for directory in ("a", "b", "c"):
            Path(directory).mkdir()
            Path(directory, "x.jar").write_text(directory)
            _carried(Path(directory, "x.jar"), "--class-path", files)
        self.assertEqual(list(files.values()), [b"a", b"b", b"c"])
        study = self.study("--parameter=rate=1,2", "--class-path=trial.fmu:no.jar", "--output=out")
        self.assertIn(" no.jar cannot be read", study.communicate()[1])
        killed = SimpleNamespace(status="error", exception=lambda: KilledWorker("batch", None, 3))
        self.assertIn("4 workers in turn were killed", str(engine._reason(killed)))

    def test_results_that_are_no_numbers_are_told_or_fail_their_runs(self):
        for options, code, told in (((), 0, "warning: 1 good rows have results that are NaN or infinite; with --fail-on-nan"),
                                    (("--fail-on-nan",), 1, "1 of 2 runs failed, the first because .*level")):
            study = self.study("--parameter=rate=1,-1e6", f"--output=out{code}", "--workers=1", "--quiet", *options)
            self.assertRegex(study.communicate()[1], rf"\Azelvox-study: {told}[^\n]*\n\Z")
            self.assertEqual(study.returncode, code)

    def test_samples_fill_their_distributions(self):
        # Each of n equally likely parts has one draw; the numbers are the distributions' quartiles.
        for text, quartiles in (("uniform:2:6", (3, 4, 5)), ("normal:1:2", (-0.349, 1, 2.349)),
                                ("lognormal:3:0.5", (2.141, 3, 4.203)), ("loguniform:1:16", (2, 4, 8)),
                                ("triangular:1:2:3", (1.7071, 2, 2.2929))):
            for method in ("latin", "sobol"):
                drawn = samples({"x": meaning("x", text), "y": meaning("y", "uniform:0:1")}, 256, method, 1)
                again, other = (samples({"x": meaning("x", text), "y": meaning("y", "uniform:0:1")}, 256, method, seed) for seed in (1, 2))
                below = [sum(value < quartile for value in drawn[0]) for quartile in quartiles]
                self.assertEqual((below, drawn == again, drawn == other), ([64, 128, 192], True, False), (text, method))

    def test_pictures_show_what_was_varied_in_units_of_people(self):
        for parameters, samples, told in (
                ({"rate": "0:1:5"}, None, ["rate", "level [cm]", "\N{MINUS SIGN}60</text>", "trial.fmu: 5 runs"]),
                ({"rate": [-1, 0, 1], "start": [1, 2]}, None, ["rate", "start", "trial.fmu: 4 of 6 runs, 2 failed"]),
                ({"rate": "uniform:0:1", "start": "uniform:5:5.001"}, 20, ["rank correlation -1.00", "12 of 20 runs"])):
            with unittest.mock.patch.object(pictures, "_POINTS", 12):
                zelvox.study("trial.fmu", parameters, samples=samples, workers=1, plot="out.svg")
            for text in told:
                self.assertTrue(text in Path("out.svg").read_text(), text)
        table = pandas.DataFrame({"x": numpy.arange(20_000) % 9999, "y": numpy.cos(numpy.arange(20_000)), "error": ""})
        table.loc[7, "y"] = numpy.inf
        drawn = pictures._thinned(table)
        table.loc[7, "y"] = 0
        self.assertEqual((len(drawn), drawn.index.is_unique), (5000, True))
        for column in "xy":
            self.assertLessEqual({table[column].min(), table[column].max()}, set(drawn[column]))


if __name__ == "__main__":
    unittest.main()
