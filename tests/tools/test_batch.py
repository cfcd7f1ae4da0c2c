"""`zelvox batch`: many runs in one process are those that `zelvox simulate` makes one by one, whatever becomes of
some of them."""

import csv
import io
import re
import signal
import unittest

from case import STUB, XML, Stubbed, motor, odd

STATISTICS = ("minimum", "maximum", "mean", "final")


class Batch(Stubbed):
    def setUp(self):
        super().setUp()
        self.stub()

    def batch(self, fmu, runs, *arguments, **options):
        """The rows of the table, the header first, and what is said on stderr."""
        self.write("runs.csv", runs)
        out, err = self.zelvox("batch", fmu, "--runs=runs.csv", "--output-file=-", *arguments, **options)
        return list(csv.reader(io.StringIO(out))), err

    def stub_runs(self, runs, *arguments, **options):
        """The rows, what is said and the calls from the first run on; there is no JVM."""
        self.write("runs.csv", runs)
        out, err, calls = self.traced("batch", "stub.fmu", "--runs=runs.csv", "--output-file=-", *arguments, **options)
        return list(csv.reader(io.StringIO(out))), err, calls[2:]

    def runs_of_the_table(self):
        return self.simulated(None, run=False)["run"]

    def test_runs_are_those_of_simulate_and_know_nothing_of_each_other(self):
        self.write("load.csv", "time,load\n0,0\n0.02,0.05\n")
        common = ("--start-time=0.01", "--stop-time=0.031", "--output-interval=0.002", "--step-size=0.001",
                  "--start-value=J=2e-4", "--input-file=load.csv")
        values = [("12", "0.5"), ("24", "0.75"), ("-3", "-1"), ("6", "7"), ("12", "0.5")]
        runs = "run,voltage,R\n" + "".join(f"{7 * i},{voltage},{r}\r\n" for i, (voltage, r) in enumerate(values))
        rows, err = self.batch(motor(), runs, *common, "--record", ",".join(STATISTICS), "--log-fmi-calls", code=1)
        outputs = ("speed", "current")
        self.assertEqual(rows[0], ["run", "voltage", "R"] + [f"{o}.{s}" for o in outputs for s in STATISTICS]
                         + ["error"])
        self.assertEqual(err.count("fmi2Instantiate"), 1)  # so that no jar is opened again
        self.assertRegex(err, r"\nzelvox: 1 of 5 runs failed, see .*; the first one: fmi2ExitInit.*parameter R .* -1")
        finals, _ = self.batch(motor(), runs, *common, code=1)
        points, err = self.batch(motor(), runs, *common, "--record=all", code=1)
        self.assertEqual(points[0], ["run", "time", *outputs])
        self.assertRegex(err, r"run 14: .*parameter R")
        ended, _ = self.batch(motor(), runs, *common, "--record=all,error", code=1)
        self.assertEqual([row[:-1] for row in ended if row[1]], points)  # and at the end of each run one row more
        self.assertEqual([row[:-1] for row in ended if not row[1]], [[str(7 * i), "", "", ""] for i in range(len(values))])
        self.assertEqual([row[0] for row in ended if row[-1]], ["run", "14"])
        for i, (voltage, r) in enumerate(values):
            self.assertEqual(rows[i + 1][:3], [str(7 * i), voltage, r])
            if r == "-1":
                self.assertRegex(rows[i + 1][-1], "parameter R .* cannot be -1.0, expected 0.0 to 1000.0$")
                self.assertEqual(set(rows[i + 1][3:-1]) | set(finals[i + 1][3:-1]), {""})
                continue
            alone = self.simulated(motor(), *common, f"--start-value=voltage={voltage}", f"--start-value=R={r}")
            self.assertEqual([row[1:] for row in points if row[0] == str(7 * i)], list(map(list, zip(*alone.values()))))
            self.assertEqual(finals[i + 1][3:], [alone[output][-1] for output in outputs] + [""])
            times = list(map(float, alone["time"]))
            for output, found in zip(outputs, (rows[i + 1][3:7], rows[i + 1][7:11])):
                column = list(map(float, alone[output]))
                mean = sum((t1 - t0) * (a + b) / 2 for t0, t1, a, b in zip(times, times[1:], column, column[1:]))
                self.assertEqual([float(found[k]) for k in (0, 1, 3)], [min(column), max(column), column[-1]])
                self.assertAlmostEqual(float(found[2]) / (mean / (times[-1] - times[0])), 1, 12)

    def test_values_of_every_type_are_set_in_each_run(self):
        runs = 'mass,label,locked,count\n1,"a ""b"", c\nd",true,3\n\n0,"",false,-4\n4,e,1,5\n'
        rows, err, calls = self.stub_runs(runs, "--output-variable=shown", "--output-variable=label",
                                     "--output-variable=ratio", "--start-value=set=6")
        self.assertEqual(rows, [["run", "mass", "label", "locked", "count", "shown", "label.final", "ratio", "error"],
                                ["1", "1", 'a "b", c\nd', "1", "3", 'a "b", c\nd', 'a "b", c\nd', "6", ""],
                                ["2", "0", "", "0", "-4", "", "", "inf", ""], ["3", "4", "e", "1", "5", "e", "e", "1.5", ""]])
        self.assertRegex(err, r"\Azelvox: warning: 'ratio' is inf at t=1 in run 2 [^\n]*\n\Z")
        shown, _, none = self.stub_runs(runs, "--dry-run")
        self.assertEqual((shown, none), ([row[:5] for row in rows], []))
        life = [call.split("(")[0] for call in calls if re.match("fmi2(Setup|Set(Real|Str)|Term|Res|Free|Inst)", call)]
        run = ["fmi2SetupExperiment", "fmi2SetReal", "fmi2SetString", "fmi2Terminate"]
        self.assertEqual(life, [*run, "fmi2Reset", *run, "fmi2Reset", *run, "fmi2FreeInstance"])

    def test_a_run_that_fails_leaves_the_others_alone(self):
        step = "fmi2DoStep(currentCommunicationPoint=0.5,"
        runs = "set\n1\n2\n3\n"
        for plan, lives in (
                ("3 3 fmi2SetReal(vr=[0], value=[2])|no", ["fmi2Reset", "fmi2FreeInstance", "fmi2Instantiate"]),
                ("3 3 fmi2SetReal(vr=[0], value=[2])|no\n3 3 fmi2Reset|never",
                 ["fmi2Reset", "fmi2FreeInstance", "fmi2Instantiate"] + ["fmi2FreeInstance", "fmi2Instantiate"])):
            rows, err, calls = self.stub_runs(runs, "--output-variable=moved", plan=plan, code=1)
            self.assertEqual(rows[1:], [["1", "1", "1", ""], ["2", "2", "", "fmi2SetReal at t=0 failed: no."],
                                        ["3", "3", "3", ""]])
            found = [call.split("(")[0] for call in calls if re.match("fmi2(Reset|Free|Inst)", call)]
            self.assertEqual(found[-1], "fmi2FreeInstance")
            self.assertEqual(sorted(found[:-1]), sorted(lives))
        rows, err, calls = self.stub_runs(runs, "--output-variable=moved", code=1, plan="4 4 fmi2SetReal(vr=[0], value=[2])|dead")
        self.assertEqual((len(rows), rows[-1][:3]), (3, ["2", "2", ""]))
        self.assertRegex(err, r"\Azelvox: run 2 ended the FMU, .*called any more: fmi2SetReal at t=0 failed: dead\.\n\Z")
        self.assertRegex(calls[-1], r"value=\[2\]\) -> fmi2Fatal")
        rows, _, calls = self.stub_runs(runs, "--output-variable=moved", code=1, plan="4 4 fmi2Reset|dead")
        self.assertEqual((rows[1:], calls[-1]), ([["1", "1", "1", ""], ["2", "2", "", "fmi2Reset at t=1 failed: dead."]],
                                                 "fmi2Reset() -> fmi2Fatal"))
        self.write("in.csv", "time,set\n0,1\n0.25,2\n0.5,3\n")  # 3 is set, but for a step that is not made
        for record, values in (("final", ["2"]), ("mean,final", ["1.25", "2"])):
            rows, err, _ = self.stub_runs("mass\n1\n2\n", "--output-variable=moved", "--input-file=in.csv", "--record", record,
                                     plan=f"2 2 {step}|over", env={"STUB_TERMINATED": "1"})
            self.assertEqual(rows[1:], [["1", "1", *values, ""], ["2", "2", *values, ""]])
            self.assertRegex(err, r"\Azelvox: warning: the FMU ended run 1 at t=0.5, [^\n]*\n\Z")

    def test_nan_of_some_points_is_not_left_out_of_statistics(self):
        self.write("in.csv", "time,set\n0,1\n0.25,1\n0.25,0\n0.5,0\n0.5,1\n")  # 0/0 in the second step only
        arguments = ("--output-variable=ratio", "--record=minimum,maximum,mean,final", "--input-file=in.csv")
        good = ["0", "1", "0.75", "1", ""]
        for options, bad in (((), ["nan", "nan", "nan", "inf", ""]),
                             (("--fail-on-nan",), [""] * 4 + ["'ratio' is inf at t=0"])):
            rows, err, _ = self.stub_runs("mass\n1\n0\n1\n", *arguments, *options, code=1 if options else 0)
            self.assertEqual([[cell.replace("-nan", "nan") for cell in row[2:]] for row in rows[1:]], [good, bad, good])

    def test_rows_of_stdin_are_answered_before_the_next_comes(self):
        self.write("Loud.java", "import com.zelvox.qorbetta.*; public class Loud extends FieldModel {"
                   "@Input double voltage; protected void step(double t, double h) {}"
                   'protected void initialize() throws Exception { System.out.println("on stdout");'
                   'if (System.in.read() >= 0) throw new IllegalStateException("took a row"); }}')
        process = self.start("batch", "Loud.java", "--runs=-", "--output-file=-", "--output-variable=voltage")
        process.stdin.write('"voltage"\n')
        for i in range(3):
            process.stdin.write(f"{i}")
            process.stdin.flush()
            process.stdin.write("\n")
            process.stdin.flush()
            if i == 0:
                self.assertEqual(process.stdout.readline(), '"run","voltage","voltage.final","error"\n')
            self.assertEqual(process.stdout.readline(), f"{i + 1},{i},{i},\n")
        out, err = self.finish(process, 1, "7\nten\n8\n")
        self.assertEqual(out, "4,7,7,\n")
        self.assertRegex(err, r"\nzelvox: stdin, line 6, column 1: 'ten' is no value for 'voltage', expected a finite number\n\Z")
        self.assertEqual(self.zelvox("batch", motor(), "--runs=-", "--output-file=-", input="R\n"),
                         ('"run","R","speed","current","error"\n', ""))

    def test_wrong_file_is_refused_before_the_first_run(self):
        self.write("out.csv", "mine")
        self.write("in.csv", "time,set\n0,1\n")
        for runs, reason in (
                ("", "runs.csv is empty"), ("mass\n", "has no lines behind the header"),
                ("mass,gera\n1,1\n", "line 1, column 2: .* did you mean 'gear'"), ("moved\n1\n", "column 1: .*an output"),
                ("mass;set\n1;1,5\n", "semicolons between them"), ("mass,mass\n1,1\n", "column 2: 'mass' has a column already"), ("run,run\n1,1\n", "has a column already"),
                ("run,mass\n1,1\n1.5,1\n", "line 3, column 1: '1.5' is no number of a run"),
                ("mass,count\n1,1\n\n2,\n", "line 4, column 2: the cell is empty, expected a value for 'count'"),
                ("mass,count\n1,1\n2,1e99\n", "line 3, column 2: '1e99' is no value for 'count', expected an integer"),
                ("mass,label\n1,\n", 'column 2: .*"" is an empty text'), ('label\n"a\0b"\n', "column 1: 'a b' is no value for 'label', expected a text in UTF-8"),
                (b"label\nGr\xf6\xdfe\n", "line 2, column 1: .*expected a text in UTF-8"), ("mass\n1\n2,3\n", "line 3, column 2: found 2"),
                ('label,mass\n"a\nb",1\n"c\n', "line 4, column 1: a quote is not closed"),
                ("label,ratio\n", "column 2: 'ratio' is an output"),
                ("run,mass\n3,1\n1,1\n2,1\n5,1\n2,2\n", "line 6, column 1: there is another run 2"),
                ("run,mass\n1,1\n3,1\n2,1\n3,1\n", "line 5, column 1: there is another run 3"), ("mass,run\n1,-1\n1,-1\n", "line 3, column 2: there is another run -1"),
                ("mass,gear\n1,1\n", "column 2: 'gear' has a --start-value as well"),
                ("set\n1\n", "column 1: 'set' has a column in --input-file as well")):
            self.write("runs.csv", runs)
            self.refuses(reason, "batch", "stub.fmu", "--runs=runs.csv", "--output-file=out.csv",
                         "--start-value=gear=1", "--input-file=in.csv")
        self.archive(("modelDescription.xml", XML.replace('"mass"', '"error"')), ("binaries/linux64/stub.so", STUB))
        self.write("runs.csv", "count,error\n1,2\n")
        self.refuses("column 2: 'error' is a column of the result already", "batch", "new.fmu", "--runs=runs.csv", "--output-file=out.csv")
        self.refuses("would overwrite --runs", "batch", "stub.fmu", "--runs=runs.csv", "--output-file=runs.csv", code=2)
        for record in ("median", "all,mean", "mean,mean"):
            self.refuses("--record", "batch", "stub.fmu", "--runs=x", "--output-file=y", "--record", record, code=2)
        self.assertEqual((self.home / "out.csv").read_text(), "mine")

    def test_file_of_runs_may_change_meanwhile(self):
        self.write("runs.csv", "sleep\n900\n" + " " * 200_000 + "\n0\n")
        process = self.start("batch", odd(), "--runs=runs.csv", "--output-file=out.csv", "--stop-time=-0.5", "--log-fmi-calls")
        next(call for call in process.stderr if "fmi2SetReal" in call and "900" in call)
        self.write("runs.csv", "sleep\n900\n")
        self.finish(process)
        self.assertEqual(self.simulated(None, run=False)["sleep"], ["900", "0"])

    def test_end_in_between_keeps_whole_rows(self):
        exits = "run,sleep,exit at\n1,0,9\n2,0,9\n3,0,0.5\n4,0,9\n"
        self.write("runs.csv", exits)
        _, err = self.zelvox("batch", odd(), "--runs=runs.csv", "--output-file=out.csv", code=1)
        self.assertRegex(err.splitlines()[-1], "out.csv has the rows up to run 2")
        self.assertEqual(self.runs_of_the_table(), ["1", "2"])
        self.write("runs.csv", "sleep\n" + "0\n" * 3 + "900\n" + "0\n" * 5)
        for number in (signal.SIGINT, signal.SIGTERM):
            process = self.start("batch", odd(), "--runs=runs.csv", "--output-file=out.csv", "--log-fmi-calls")
            next(call for call in process.stderr if "fmi2SetReal" in call and "900" in call)
            process.send_signal(number)
            _, err = self.finish(process, 128 + number)
            self.assertRegex(err.splitlines()[-1], rf"{signal.Signals(number).name}: the batch stopped after 3 runs; the "
                             r"rows so far are in out\.csv$")
            self.assertEqual(self.runs_of_the_table(), ["1", "2", "3"])
        process = self.start("batch", odd(), "--runs=-", "--output-file=out.csv", "--quiet")  # waits for a header
        process.stdin.write("sleep\n0\n")
        process.stdin.flush()
        while not any("\n1,0," in path.read_text() for path in self.home.glob("out.csv.part-*")):
            pass
        process.send_signal(signal.SIGTERM)
        process.wait()
        self.finish(process, 128 + signal.SIGTERM)
        self.assertEqual(self.runs_of_the_table(), ["1"])
        process = self.start("batch", odd(), "--runs=-", "--output-file=dry.csv", "--dry-run")
        process.stdin.write("sleep\n0\n")
        process.stdin.flush()
        while not any(self.home.glob("dry.csv.part-*")):
            pass
        process.send_signal(signal.SIGTERM)
        process.wait()
        self.assertIn("the runs were not read to their end", self.finish(process, 128 + signal.SIGTERM)[1])
        self.assertFalse((self.home / "dry.csv").exists())

    def test_run_ends_when_nobody_reads_any_more(self):
        self.write("runs.csv", "set\n1\n")  # takes days and has nothing to write meanwhile
        process = self.start("batch", "stub.fmu", "--runs=runs.csv", "--output-file=-", "--step-size=1e-10", "--output-interval=1",
                             env={"STUB_TRACE": "/dev/null"})
        process.stdout.close()
        self.assertIn("was closed by its reader", process.stderr.read())
        self.assertEqual(process.wait(), 141)


if __name__ == "__main__":
    unittest.main()
