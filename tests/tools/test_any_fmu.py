"""`zelvox simulate` with an FMU that is not ours and has every type of variable."""

import os
import re
import signal
import subprocess
import unittest

from case import INPUT, OUTPUT, SANITIZERS, STUB, VARIABLE, XML, ZELVOX, Stubbed, odd


class AnyFmu(Stubbed):
    def run_stub(self, *arguments, xml=XML, binary=STUB, **options):
        return self.traced("simulate", self.stub(xml, binary), *arguments, **options)

    def test_calls_come_in_order_and_pass_values_of_every_type(self):
        self.write("in.csv", "time,set,count,locked\n1,0,1,1\n2,8,5,0\n")
        observed = ("moved", "engaged", "held", "shown", "counted", "ratio", "set")
        starts = ("mass=4", 'label=a "b", c', "gear=1")
        out, err, calls = self.run_stub(
            "--start-time=1", "--stop-time=2", "--output-interval=0.5", "--input-file=in.csv", "--output-file=out.csv",
            "--log-fmi-calls", *(f"--output-variable={name}" for name in observed),
            *(f"--start-value={start}" for start in starts))
        self.assertEqual(calls, err.splitlines())
        self.assertRegex(calls.pop(1), re.escape(
            'fmi2Instantiate(instanceName="stub", fmuType=fmi2CoSimulation, fmuGUID="g & h", fmuResourceLocation="'
            + (self.home / "tmp").as_uri()) + r'/zelvox-[^/]{6}/resources", visible=\w+False, loggingOn=\w+False\)')
        step = ("fmi2DoStep(currentCommunicationPoint=%s, communicationStepSize=0.5, "
                "noSetFMUStatePriorToCurrentPoint=fmi2True)")

        def inputs(real, integer, boolean):
            return [f"fmi2SetReal(vr=[0], value=[{real}])", f"fmi2SetInteger(vr=[0], value=[{integer}])",
                    f"fmi2SetBoolean(vr=[0], value=[{boolean}])"]

        def outputs(reals, integers, boolean):
            return [f"fmi2GetReal(vr=[1, 3, 0], value=[{reals}])", f"fmi2GetInteger(vr=[3, 1], value=[{integers}])",
                    f"fmi2GetBoolean(vr=[1], value=[{boolean}])", 'fmi2GetString(vr=[1], value=["a "b", c"])']
        self.assertEqual([call.removesuffix(" -> fmi2OK") for call in calls], [
            "fmi2GetVersion() -> 2.0", "fmi2SetupExperiment(toleranceDefined=fmi2True, tolerance=1e-06, "
            "startTime=1, stopTimeDefined=fmi2True, stopTime=2)",
            "fmi2SetReal(vr=[2], value=[4])", "fmi2SetInteger(vr=[2], value=[1])",
            'fmi2SetString(vr=[0], value=["a "b", c"])',
            "fmi2EnterInitializationMode()", *inputs(0, 1, 1), "fmi2ExitInitializationMode()",
            *outputs("0, 0, 0", "1, 1", 1), step % 1, *inputs(4, 1, 1),
            *outputs("0, 0, 4", "1, 1", 1), step % 1.5, *inputs(8, 5, 0),
            *outputs("4, 1, 8", "1, 1", 1), "fmi2Terminate()", "fmi2FreeInstance()"])
        self.assertEqual(list(self.simulated("", run=False).items()), [
            ("time", ["1", "1.5", "2"]), ("moved", ["0", "0", "4"]), ("engaged", ["1"] * 3), ("held", ["1"] * 3),
            ("shown", ['a "b", c'] * 3), ("counted", ["1"] * 3), ("ratio", ["0", "0", "1"]), ("set", ["0", "4", "8"])])
        head, *rows, end = out.splitlines()
        wall, factor = re.fullmatch(r"stub: 2 steps from 1 s to 2 s in (\S+) s, (\S+) times real time", head).groups()
        self.assertAlmostEqual(float(wall) * float(factor), 2 - 1, delta=0.011)  # three digits each
        self.assertEqual([row.split() for row in rows], [
            ["moved", "4", "mm"], ["engaged", "1"], ["held", "1"], ["shown", "a", '"b",', "c"], ["counted", "1"],
            ["ratio", "1", "mm/kg"], ["set", "8", "mm"]])
        self.assertEqual(end, "Wrote out.csv with 3 rows")
        self.run_stub("--start-value=label=", "--output-variable=shown", "--output-file=out.csv")  # the stub gives NULL
        self.assertEqual(self.simulated("", run=False)["shown"], [""] * 5)

    def test_values_that_a_type_cannot_hold_are_refused(self):
        for option, reason in (
                ("count=1.5", "'1.5' is no value for 'count', expected an integer"), ("count=2147483648", "an integer"),
                ("gear=low", "an integer"), ("locked=2", "true, false, 1 or 0"), ("set=nan", "a finite number"),
                ("held=1", "'held' is an output, expected an input"), ("locale=C", "'locale' is a local variable"),
                ("slack=1", "is a calculated parameter"), ("GERA=1", "did you mean 'gear'"), ("ste=1", "mean 'set'"),
                ("lockd=1", "mean 'locked'"), ("heldd=1", "zelvox info"), ("shoulder=1", "zelvox info")):
            self.refuses(reason, "simulate", self.stub(), f"--start-value={option}")
        for column, cell, reason in (
                ("count", "0.5", "line 2, column 2: 0.5 is no value for 'count' of type Integer"),
                ("count", "-2147483649", "no value for 'count'"), ("locked", "0.5", "of type Boolean"),
                ("gear", "1", "'gear' is a fixed parameter, expected an input or a tunable"),
                ("counted", "1", "'counted' is an output")):
            self.refuses(reason, "simulate", self.stub(), "--input-file",
                         self.write("in.csv", f"time,{column}\n0,{cell}\n"))

    def test_words_that_mean_nothing_or_two_things_are_refused(self):
        self.write("in.csv", "time,set\n0,1\n")
        self.write("runs.csv", "mass\n1\n")
        self.stub()
        batch = ("batch", "stub.fmu", "--runs=runs.csv", "--output-file=out.csv")
        untraced = {"env": {"STUB_TRACE": "/dev/null"}}
        options = ("start-time", "stop-time", "output-interval", "step-size", "input-file", "output-file", "plot-file", "log-file",
                   "start-value", "output-variable", "class-path", "jvm-option", "model", "release")
        for option in options:
            self.refuses(f"--{option} has an empty value", "simulate", "stub.fmu", f"--{option}", "", code=2)
            self.refuses(f"--{option} has an empty value", "simulate", f"--{option}=", "stub.fmu", code=2)
        for option in ("runs", "record"):
            self.refuses(f"--{option} has an empty value", *batch, f"--{option}", "", code=2)
        self.refuses("a word of the command line is empty", "simulate", "", code=2)
        for reason, *words in (
                ("'mass' has a --start-value as well", "--start-value=mass=1", "--start-value=mass=2"),
                ("'set' has a column in --input-file as well", "--start-value=set=1", "--input-file=in.csv"),
                ("--output-variable names 'moved' twice", "--output-variable=moved", "--output-variable=moved")):
            self.refuses(reason, "simulate", "stub.fmu", *words)
            self.refuses(reason, *batch, *words)
        self.refuses("two columns 'time'", "simulate", self.stub(XML.replace('"moved"', '"time"')), "--output-file=out.csv", **untraced)
        for name, variables, *record in (("time", ["time"], "--record=all"), ("run", ["run"], "--record=all"), ("mass.final", ["mass.final", "mass"])):
            self.stub(XML.replace('"moved"', f'"{name}"'))
            self.refuses(f"two columns '{name}'", *batch, *record, *(f"--output-variable={each}" for each in variables), **untraced)
        self.assertEqual([*self.home.glob("out.csv*")], [])

    def test_start_values_take_every_unit_that_the_fmu_defines(self):
        xml = XML.replace('<Unit name="kg"/>', '<Unit name="kg"><DisplayUnit name="g" factor="1000"/><DisplayUnit name="° x" factor="2" offset="10"/>'
                          '<DisplayUnit name="bad" factor="0"/></Unit>')
        for given, xml, value in (("500 g", xml, "0.5"), ("3 kg", xml, "3"), (" 30  ° x ", xml, "10"), ("7", xml, "7"),
                                  ("30 ° x", xml.replace('unit="kg"', 'unit="kg" relativeQuantity="true"'), "15")):
            self.assertIn(f"fmi2SetReal(vr=[2], value=[{value}]) -> fmi2OK", self.run_stub(f"--start-value=mass={given}", xml=xml)[2])
            self.write("runs.csv", "set\n1\n")
            err = self.zelvox("batch", "stub.fmu", "--runs=runs.csv", "--output-file=out.csv", f"--start-value=mass={given}",
                              "--log-fmi-calls", env={"STUB_TRACE": "/dev/null"})[1]
            self.assertIn(f"fmi2SetReal(vr=[2, 0], value=[{value}, 1])", err)
        for given, reason in (("mass=5 mg", "expected a finite number in kg, or one with a unit: kg, g, ° x$"), ("mass=1 bad", ": kg, g, ° x$"), ("mass=x", "finite number in kg"),
                              ("mass=x g", "in kg, or"), ("mass=inf kg", "in kg, or"), ("mass=1 2 kg", "in kg, or"), ("count=1 kg", "an integer")):
            self.refuses(reason.replace("$", r"\n"), "simulate", self.stub(xml), f"--start-value={given}")

    def test_last_step_is_shortened_for_an_fmu_that_can_handle_it_only(self):
        able = XML.replace('modelIdentifier="stub"', 'modelIdentifier="stub" canHandleVariableCommunicationStepSize="true"')
        for xml, stop, last in ((XML, 1.25, "0.25"), (XML, 1.25 + 1e-7, "0.25"), (able, 1.1, "0.1"), (able, 1.25 + 1e-7, "0.2500001")):
            err = self.run_stub(f"--stop-time={stop}", "--log-fmi-calls", xml=xml)[1]
            sizes = re.findall("communicationStepSize=(.*?),", err)
            self.assertEqual(set(sizes[:-1]), {"0.25"})
            self.assertAlmostEqual(float(sizes[-1]), float(last), 12)
        for stop, start, near in ((1.1, 0, "1 or 1.25"), (10.1, 9, "10 or 10.25"), (0.8, -0.1, "0.65 or 0.9")):
            self.stub()
            self.refuses(f"no whole number of steps of 0.25 goes from .*; --stop-time {re.escape(near)}, or another --step-size",
                         "simulate", "stub.fmu", f"--stop-time={stop}", f"--start-time={start}", code=2)
        self.refuses("output interval is 0.25, expected at most the length of the run, 0.1", "simulate", "stub.fmu", "--stop-time=0.1", code=2)
        self.refuses("step size is 2, expected at most the length of the run, 1", "simulate", "stub.fmu", "--step-size=2", code=2)

    def test_threads_of_an_fmu_may_send_messages(self):
        out, err, _ = self.run_stub("--output-interval=1e-4", plan="17 0 fmi2ExitInit", env={"STUB_TRACE": "/dev/null"})
        self.assertIn("10000 steps", out)
        self.assertEqual(err, "")

    def test_status_decides_what_is_said_and_what_may_still_be_called(self):
        step, free = "fmi2DoStep(currentCommunicationPoint=0.25,", " fmi2FreeInstance"
        asked, ended, at = " fmi2GetBooleanStatus", " fmi2Terminate" + free, "fmi2DoStep at t=0.25 failed: "
        for plan, terminates, reason, last in (
                (f"1 1 {step}|odd", "1", None, "fmi2GetString" + ended),
                (f"2 0 {step}", "1", None, "fmi2DoStep" + asked + ended),
                (f"2 2 {step}|too\tlong", None, at + "too long", "fmi2DoStep" + asked + free),
                (f"2 0 {step}\n2 0 fmi2GetBooleanS", "1", at + "the FMU gave no reason but fmi2Discard",
                 "fmi2DoStep" + asked + free),
                (f"2 0 {step}\n4 4 fmi2GetBooleanS|gone", "1", "fmi2GetBooleanStatus at t=0.25 failed: gone",
                 "fmi2DoStep" + asked),
                (f"3 3 {step}|fmi2DoStep: #r1# tore 100 %s", "1", at + r"moved tore 100 %s\.", "fmi2DoStep" + free),
                (f"0 3 {step}|one\n0 2 {step}|two\n3 1 {step}|three", None, at + "two", "fmi2DoStep" + free),
                ("0 3 fmi2ExitI|stale\n3 0 fmi2GetReal", None, "fmi2GetReal at t=0 failed: the FMU gave no reason",
                 "fmi2GetReal" + free),
                (f"4 4 {step}|gone", "1", at + "gone", "fmi2DoStep"),
                (f"5 0 {step}", None, "fmi2DoStep is still computing", "fmi2DoStep" + free),
                (f"7 0 {step}", None, at + "the FMU gave no reason but an unknown status", "fmi2DoStep" + free),
                ("3 3 fmi2Instantiate|no memory", None, "fmi2Instantiate failed: no memory", "fmi2Instantiate"),
                ("3 0 fmi2Instantiate", None, "fmi2Instantiate failed: the FMU gave no reason", "fmi2Instantiate"),
                *((f"{status} 3 {call}|no", None, f"{call} at t={time} failed: no", call + (free if status < 4 else ""))
                  for status in (2, 3, 4) for call, time in (
                      ("fmi2SetupExperiment", 0), ("fmi2SetReal", 0), ("fmi2EnterInitializationMode", 0),
                      ("fmi2ExitInitializationMode", 0), ("fmi2GetString", 0), ("fmi2Terminate", 1)))):
            with self.subTest(plan):
                out, err, calls = self.run_stub(
                    "--start-value=set=1", "--output-file=out.csv", "--log-fmi-calls", plan=plan,
                    code=int(reason is not None), env={"STUB_TERMINATED": terminates})
                log, sentence = re.fullmatch(r"((?:fmi2.*\n)*)(.*\n)?", err).groups()
                self.assertRegex(sentence or "", rf"\Azelvox: {reason}" if reason else r"\A\Z")
                names, logged = ([re.sub(r"\(.*\)", "", call) for call in lines] for lines in (calls, log.splitlines()))
                self.assertEqual(names, logged)
                self.assertRegex(" ".join(name.split()[0] for name in names), last + r"\Z")
                if asked + ended in last:
                    self.assertRegex(out, r"(?s)1 step from 0 s to 0\.25 s .*; the FMU ended the run\n.* with 2 rows\n")
                    self.assertEqual(self.simulated("", run=False)["time"], ["0", "0.25"])
        # Without outputs nothing is called between two steps.
        stale = f"0 3 fmi2DoStep(currentCommunicationPoint=0,|stale\n3 0 {step}"
        self.assertIn(at + "the FMU gave no reason", self.run_stub(plan=stale, xml=XML.replace(OUTPUT, ""), code=1)[1])
        self.assertIn("implements FMI 2.1, expected 2.0\n", self.run_stub(code=1, env={"STUB_VERSION": "2.1"})[1])

    def test_messages_are_shown_with_names_for_references(self):
        statuses = ("fmi2OK", "fmi2Warning", "fmi2Discard", "fmi2Error", "fmi2Fatal", "fmi2Pending",
                    "an unknown status")
        for status, (message, shown) in enumerate((
                ("#r1# and #r0#", "moved and set"), ("#i1##b1##s1#", "countedheldshown"), ("#i3#", "engaged"),
                ("## #r1##", "# moved#"), ("100 %d", "100 %d"), ("#r4# #x1# #r# #-# #",) * 2,
                ("", ""))):
            plan = f"0 {status} fmi2DoStep(currentCommunicationPoint=0.3,|{message or 'NULL'}"
            out, err, calls = self.run_stub("--logging-on", "--output-interval=0.1", plan=plan)
            self.assertEqual(err, f"0.3 {statuses[status]} " + (f"plan {shown}.\n" if message else " \n"))
            self.assertIn("loggingOn=fmi2True", calls[1])
            self.assertEqual(self.run_stub("--output-interval=0.1", plan=plan)[1], "")
            self.assertEqual(self.run_stub("--output-interval=0.1", "--log-file=log", plan=plan)[1], "")
            self.assertEqual((self.home / "log").read_text(), err)
        self.assertIn("full lacks lines that could not be written: No space",
                      self.run_stub("--output-interval=0.1", "--log-file=/dev/full", plan=plan, code=1)[1])

    def test_run_that_fails_in_the_command_is_terminated(self):
        err, calls = self.run_stub("--output-file=/dev/full", "--output-interval=1e-4", code=1)[1:]
        self.assertRegex(err, r"\Azelvox: /dev/full cannot be written: No space left")
        self.assertLess(len(calls), 10_000)
        self.assertEqual([call.split("(")[0] for call in calls[-2:]], ["fmi2Terminate", "fmi2FreeInstance"])

    def test_experiment_may_be_left_out(self):
        without = re.sub("<DefaultExperiment.*?/>", "", XML)
        plan = "3 3 fmi2SetupExperiment(toleranceDefined=fmi2False, tolerance=0,|needs a tolerance"
        self.assertRegex(self.run_stub(plan=plan, xml=without, code=1)[1], "t=0 failed: needs a tolerance")
        self.assertRegex(self.run_stub(xml=without)[0], r"\Astub: 500 steps from 0 s to 1 s in ")

    def test_summary_is_short_or_left_out(self):
        names = [f"v{i}" for i in range(22)]
        xml = XML.replace("</ModelV", "".join(VARIABLE % (name, 1, OUTPUT, '<Real unit="mm"/>') for name in names) + "</ModelV")
        many = [f"--output-variable={name}" for name in names]
        self.assertRegex(self.run_stub(*many, xml=xml)[0], r"\A[^\n]+\n(  v\d+ +1\.5  mm\n){20}  and 2 more\n\Z")
        self.assertEqual(self.run_stub("--quiet", *many, xml=xml)[:2], ("", ""))

    def test_foreign_code_takes_no_result_away(self):
        self.write("in.csv", "time,set\n0,1\n1,2\n")
        self.write("runs.csv", "mass\n1\n2\n")
        (self.home / "elsewhere").mkdir()
        step = "fmi2DoStep(currentCommunicationPoint=0.5,"
        away, rows, kept = "8 0 fmi2Instantiate", ["0", "0.25", "0.5", "0.75", "1"], "; out.csv has the rows up to t=0.5"
        for plan, reason, times in (
                (away, "", rows), ("11 0 fmi2DoStep", "", rows), (f"{away}\n9 0 {step}", "native code ended the process with exit code 0" + kept, rows[:3]),
                (f"9 3 {step}", "native code ended the process with exit code 3" + kept, rows[:3]),
                (f"9 256 {step}", "native code ended the process with exit code 256" + kept, rows[:3]),  # 0 for the shell
                (f"10 0 {step}", "the memory does not suffice" + kept, rows[:3])):
            self.write("elsewhere/out.csv", "mine")
            env = {"STUB_DIRECTORY": str(self.home / "elsewhere"), "TMPDIR": "tmp"}
            code = 3 if "code 3" in reason else int(bool(reason))
            err = self.run_stub("--input-file=in.csv", "--output-file=out.csv", "--log-file=log", plan=plan, env=env, code=code)[1]
            self.assertEqual((err, self.simulated("", run=False)["time"]), (f"zelvox: {reason}\n" if reason else "", times))
            self.assertTrue((self.home / "log").exists())
            (self.home / "out.csv").unlink()
            for run, had in (("[1]", None), ("[2]", "run 1")):
                first = plan.replace(step, f"fmi2SetReal(vr=[2], value={run}")
                err = self.finish(self.start("batch", "stub.fmu", "--runs=runs.csv", "--output-file=out.csv", env={
                    **env, "STUB_TRACE": str(self.home / "trace"), "STUB_PLAN": first}), code)[1]
                kept_now = f"; out.csv has the rows up to {had}" if had else ""
                self.assertEqual(err, f"zelvox: {reason.split(';')[0]}{kept_now}\n" if reason else "")
                self.assertEqual((self.home / "out.csv").exists(), not reason or had is not None)
            self.assertEqual((self.home / "elsewhere/out.csv").read_text(), "mine")
            self.assertEqual([path.name for path in (self.home / "elsewhere").iterdir()], ["out.csv"])
            (self.home / "out.csv").unlink()
        self.assertIn("Drew out.svg", self.run_stub("--plot-file=out.svg", plan=away, env=env)[0])
        err = self.run_stub("--output-file=out.csv", plan=f"10 0 {step}\n10 0 fmi2Terminate", code=1)[1]
        self.assertEqual(err, f"zelvox: the memory does not suffice{kept}\n")

    def test_progress_is_shown_to_those_who_watch_and_erased(self):
        end = r".*\r\[#{40}\] 100 % *\r\x1b\[K\Z"
        bar, slow = r"\r\[#{10} +\]  25 %" + end, r"\r\[#+ +\]  [5-9]\d %  [1-9]\d* (s|min) left" + end.replace("% *", "% +")
        for fmu, option, bar in ((self.stub(), "--output-variable=set", bar), (self.stub(), "--quiet", r"\A\Z"),
                                 (odd(), "--start-value=sleep=200", slow)):
            terminal, stderr = os.openpty()
            env = {**os.environ, "STUB_TRACE": str(self.home / "trace"), "LD_PRELOAD": SANITIZERS or ""}
            subprocess.run([ZELVOX, "simulate", fmu, option], cwd=self.home, env=env, stderr=stderr,
                           stdout=subprocess.DEVNULL, check=True)
            os.write(stderr, b".")
            seen = b""
            while not seen.endswith(b"."):
                seen += os.read(terminal, 10_000)
            self.assertRegex(seen[:-1].decode(), f"(?s){bar}")
            os.close(stderr)
            os.close(terminal)

    def test_java_starts_for_a_binary_that_needs_it_and_leaves_the_locale_alone(self):
        java = {"env": {"JAVA_HOME": os.environ["JAVA_HOME"]}, "binary": open(os.environ["STUB_WITH_JAVA"], "rb").read()}
        self.run_stub(binary=STUB + b"\0libjvm.so\0JNI_GetCreatedJavaVMs\0")  # loads one of its own, who knows when
        for options in ({}, java):
            self.run_stub("--output-variable=locale", "--output-file=out.csv", **options)
            self.assertEqual(set(self.simulated("", run=False)["locale"]), {"C"})
        self.assertIn("JAVA_HOME is /nowhere", self.run_stub(binary=java["binary"], code=3)[1])

    def test_rows_are_in_the_file_while_a_long_run_goes_on(self):
        os.mkfifo(self.home / "gate")
        self.write("out.csv", "old")
        env = {"STUB_GATE": "gate", "STUB_TRACE": str(self.home / "trace")}
        process = self.start("simulate", self.stub(), "--stop-time=4", "--output-interval=1", "--output-file=out.csv",
                             "--log-file=log", "--log-fmi-calls", env=env)
        with open(self.home / "gate", "wb"):  # waits for the third step
            part, = self.home.glob("out.csv.part-*")
            self.assertEqual(re.findall("(?m)^[^,]+", part.read_text()), ['"time"', "0", "1", "2"])
            self.assertEqual((self.home / "out.csv").read_text(), "old")
            self.assertRegex((self.home / "log").read_text().splitlines()[-1], r"\Afmi2GetString\(.* -> fmi2OK\Z")
            process.send_signal(signal.SIGINT)
        out, err = self.finish(process, 130)
        self.assertRegex(err, "the run stopped at t=3; the rows so far are in out.csv")
        wall, factor = map(float, re.search(r" in (\S+) s, (\S+) times", out).groups())
        self.assertGreaterEqual(wall, 1)
        self.assertAlmostEqual(wall * factor, 3, delta=0.1)

    def test_table_on_stdout_is_alone_there(self):
        step = "3 3 fmi2DoStep(currentCommunicationPoint=0.5,|torn"
        for plan, code, said in (("", 0, "(?s)stub: .*Wrote 5 rows to the standard output"), (step, 1, r"\Azelvox: fmi2DoStep at t=0.5 failed: torn\.\n\Z")):
            self.run_stub("--output-file=./-", plan=plan, code=code)
            out, err, _ = self.run_stub("--output-file", "-", plan=plan, code=code)
            self.assertEqual(out, (self.home / "-").read_text())
            self.assertRegex(err, said)
        # A model that prints, and a reader that goes.
        self.write("Loud.java", "public class Loud extends com.zelvox.qorbetta.FieldModel {\n"
                   "@com.zelvox.qorbetta.Output double on;\n"
                   'protected void step(double t, double h) { System.out.println("loud"); on = 1; }}')
        out, err = self.zelvox("simulate", "Loud.java", "--output-file=-", "--output-interval=0.5")
        self.assertEqual((out, err.count("loud\n")), ('"time","on"\n0,0\n0.5,1\n1,1\n', 2))
        script = f'"{ZELVOX}" simulate stub.fmu --output-file=- --output-interval=1e-6 | head -n 1; exit ${{PIPESTATUS[0]}}'
        err = self.finish(self.start("-c", script, program="bash", env={"STUB_TRACE": "/dev/null"}), 141)[1]
        self.assertRegex(err, r"\Azelvox: the standard output was closed by its reader; the run stopped at t=\S+\n\Z")

    def test_picture_has_a_panel_for_each_unit_and_a_line_for_each_variable(self):
        draw = {"env": self.gnuplot("""for script; do :; done
[ "$script" != --version ] || exit 0
cp "$script" script
[ ! -e broken ] || { cat broken >&2; exit 3; }
echo "</svg>" > "$(sed -n "s/^set output '\\(.*\\)'/\\1/p" script)"
exit""")}
        self.write("in.csv", "time,set,count\n0,0,7\n2000,0,7\n2001,9,7\n2002,0,7\n2500,0,8\n"
                   "3776,0,8\n3777,-9,8\n3778,0,8\n4998,0,8\n4999,2,8\n5000,1,8\n")
        names = ("moved", "held", "shown", "set", "ratio")
        xml = XML.replace('modelName="stub"', 'modelName="Ann\'s"')
        out = self.run_stub("--stop-time=5000", "--output-interval=1", "--input-file=in.csv", "--plot-file=out.svg",
                            *(f"--output-variable={name}" for name in names), xml=xml, **draw)[0]
        self.assertIn("Drew out.svg", out)
        script = (self.home / "script").read_text()
        self.assertEqual([point for point in ("2002 9", "3778 -9", "5000 2") if f"\n{point}\n" not in script.split("$line1")[0]], [])
        self.assertIn(" title 'Ann''s'\n", script)
        # One panel per unit, steps for what jumps, dashes for the inputs that no table shows, and gaps where there is no number.
        self.assertEqual(re.findall("set ylabel '(.*?)'", script), ["[mm]", "no unit", "ratio [mm/kg]"])
        self.assertEqual(re.findall(r"\$line(\d using 1:2 with \w+) .*?( dash.*?)? (?:no)?title ?('\w+')?", script), [
            ("0 using 1:2 with lines", "", "'moved'"), ("2 using 1:2 with lines", " dashtype '-'", "'set'"), ("1 using 1:2 with steps", "", "'held'"),
            ("4 using 1:2 with lines", " dashtype '-'", "'count'"), ("3 using 1:2 with lines", "", "")])
        self.assertIn("\n2499 7\n2500 7\n2500 8\n", script)
        many = XML.replace("</ModelV", "".join(VARIABLE % (f"i{i}", 0, INPUT, "<Integer/>") for i in range(60)) + "</ModelV")
        self.write("in.csv", "time," + ",".join(f"i{i}" for i in range(60)) + "\n0" + ",0" * 60)
        self.assertIn("Drew out.svg without the 60 inputs\n", self.run_stub("--input-file=in.csv", "--plot-file=out.svg", xml=many, **draw)[0])
        self.write("broken", "no\nfont")
        err = self.run_stub("--plot-file=out.svg", "--start-value=mass=0", "--start-value=set=0", code=1, **draw)[1]
        self.assertRegex(err, r"\A.* 'ratio' is -?nan at t=0 .*\nzelvox: cannot draw out\.svg: gnuplot gave up: no font\n")
        self.assertIn("\n\n", (self.home / "script").read_text())
        for names in (["shown"], [f"i{i}" for i in range(60)] + ["moved"]):
            self.refuses(f"cannot draw {len(names) if len(names) > 1 else 0} variables", "simulate", self.stub(many),
                         "--plot-file=out.svg", *(f"--output-variable={name}" for name in names))


if __name__ == "__main__":
    unittest.main()
