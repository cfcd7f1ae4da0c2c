"""What the tests of the command line share: where the programs are, which CMakeLists.txt says in the
environment, FMUs that many tests use, and a case that runs commands in a directory of its own."""

import csv
import functools
import io
import os
import random
import re
import resource
import shutil
import signal
import subprocess
import sys
import tempfile
import unittest
import zipfile
from pathlib import Path

ZELVOX, LIBRARY, MOTOR_JAR, ODD_JAR = (
    os.environ[name] for name in ("ZELVOX", "LIBRARY", "MOTOR_JAR", "ODD_JAR"))
GNUPLOT = shutil.which("gnuplot")
SANITIZERS = os.environ.get("SANITIZERS")
PACKAGE = Path(__file__).parents[2] / "python"
signal.signal(signal.SIGINT, signal.default_int_handler)
for ignored in (signal.SIGHUP, signal.SIGQUIT):  # as SIGINT is, by what runs in the background or under nohup
    signal.signal(ignored, signal.SIG_DFL)
KEPT = tempfile.TemporaryDirectory()  # for the FMUs that many tests share


@functools.cache
def packed(name, *options):
    subprocess.run([ZELVOX, "pack", *options, "-o", f"{KEPT.name}/{name}"], check=True, stdout=subprocess.DEVNULL)
    return Path(KEPT.name, name)


def noise(size):
    """Bytes that no archive makes smaller, each time the same."""
    return random.Random(1).randbytes(size)


motor = functools.partial(packed, "motor.fmu", "--jar", MOTOR_JAR)
odd = functools.partial(packed, "odd.fmu", "--jar", ODD_JAR, "--model", "Odd")


@functools.cache
def messages_of_the_page():
    """What docs/troubleshooting.md lists, as patterns: letters alone and numbers stand for anything."""
    page = Path(__file__).parents[2].joinpath("docs/troubleshooting.md").read_text(encoding="utf-8")
    tables = page.partition("## Messages")[2]
    messages = [re.escape(code) for cell in re.findall(r"(?m)^\| (.*?) \|", tables) for code in re.findall("`([^`]+)`", cell)]
    patterns = {re.sub(r"\\\.\\\.\\\.|(?<!\w)[A-Za-z](?!\w)|\d[\d\\.]*", ".*", message) for message in messages}
    return [pattern for pattern in patterns if len(re.sub(r"\.\*|\\", "", pattern)) > 9]


def small_disk(size):
    """For a process that finds no file may be larger."""
    def limit():
        signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
        resource.setrlimit(resource.RLIMIT_FSIZE, (size, size))
    return {"preexec_fn": limit, "restore_signals": False}


# An FMU that is not ours and has variables of every type, by stub/stub.c.
STUB = Path(os.environ["STUB"]).read_bytes()
VARIABLE = '<ScalarVariable name="%s" valueReference="%d" %s>%s</ScalarVariable>'
INPUT, OUTPUT, PARAMETER = (f'causality="{causality}"' for causality in ("input", "output", "parameter"))
DISCRETE, FIXED = (f'variability="{variability}"' for variability in ("discrete", "fixed"))
XML = """<?xml version="1.0"?>
<fmiModelDescription fmiVersion="2.0" modelName="stub" guid="g &amp; h" description="Repeats" author="Ann" version="3"
    copyright="(c) Ann" license="MIT" generationTool="hand" generationDateAndTime="2000-01-01T00:00:00Z">
  <ModelExchange modelIdentifier="other" needsExecutionTool="1"/>
  <CoSimulation modelIdentifier="stub" needsExecutionTool="false"/>
  <UnitDefinitions><Unit name="mm"><BaseUnit m="1" factor="0.001"/></Unit><Unit name="kg"/></UnitDefinitions>
  <TypeDefinitions>
    <SimpleType name="Length"><Real unit="mm" max="9" nominal="3"/></SimpleType>
    <SimpleType name="Gear"><Enumeration><Item name="low" value="1"/></Enumeration></SimpleType>
  </TypeDefinitions>
  <DefaultExperiment startTime="0" stopTime="1" stepSize="0.25" tolerance="1e-6"/>
  <ModelVariables>""" + "".join(VARIABLE % variable for variable in (
    ("set", 0, INPUT + ' description="where to"', '<Real declaredType="Length" start="1.5"/>'),
    ("moved", 1, OUTPUT, '<Real declaredType="Length"/>'),
    ("mass", 2, f"{PARAMETER} {FIXED}", '<Real unit="kg" nominal="1" start="2"/>'),
    ("ratio", 3, OUTPUT + ' description="set per mass"', '<Real declaredType="Length" unit="mm/kg"/>'),
    ("count", 0, INPUT, '<Integer start="-3"/>'),
    ("counted", 1, OUTPUT, "<Integer/>"),
    ("gear", 2, f"{PARAMETER} {FIXED}", '<Enumeration declaredType="Gear" start="2"/>'),
    ("engaged", 3, OUTPUT, '<Enumeration declaredType="Gear"/>'),
    ("locked", 0, f"{INPUT} {DISCRETE}", '<Boolean start=" true "/>'),
    ("held", 1, f"{OUTPUT} {DISCRETE}", "<Boolean/>"),
    ("label", 0, f"{PARAMETER} {FIXED}", '<String start="none"/>'),
    ("shown", 1, OUTPUT, "<String/>"),
    ("slack", 2, 'causality="calculatedParameter"', "<Boolean/>"),
    ("locale", 3, DISCRETE, "<String/>"))) + "</ModelVariables>\n</fmiModelDescription>"


class Case(unittest.TestCase):
    """Runs every command in a directory of its own and sees to it that nothing stays behind."""

    # What no terminal gets from us: controls, but for the end of a line, and turns of the direction.
    TRICKS = "[\0-\x09\x0b-\x1f\x7f-\x9f\u2028-\u202e\u2066-\u2069]"

    def setUp(self):
        self.home = Path(self.enterContext(tempfile.TemporaryDirectory(prefix="zelvox test ")))
        (self.home / "tmp").mkdir()

    def start(self, *arguments, env={}, program=ZELVOX, **options):
        env = {**{name: os.environ.get(name) for name in ("PATH", "JAVA_HOME", "ASAN_OPTIONS")},
               "LC_ALL": "C.UTF-8", "TMPDIR": str(self.home / "tmp"), "LD_PRELOAD": SANITIZERS, **env}
        process = subprocess.Popen(
            [program, *(word if isinstance(word, bytes) else str(word) for word in arguments)], cwd=self.home,
            env={k: v for k, v in env.items() if v is not None},
            encoding="utf-8", errors="backslashreplace",
            **{"stdin": subprocess.PIPE, "stdout": subprocess.PIPE, "stderr": subprocess.PIPE, **options})
        self.addCleanup(process.kill)
        return process

    def finish(self, process, code=0, input=None):
        out, err = process.communicate(input, timeout=300)
        left, _ = os.listdir(self.home / "tmp"), [shutil.rmtree(path) for path in self.home.glob("tmp/*")]
        self.assertEqual((process.returncode, left), (code, []), err)
        return out, err

    def zelvox(self, *arguments, code=0, input=None, **options):
        return self.finish(self.start(*arguments, **options), code, input)

    def refuses(self, reason, *arguments, code=1, **options):
        """The command fails with one sentence, not counting warnings, that gives the reason."""
        with self.subTest(reason):
            sentence = re.sub(r"(?m)^zelvox: warning: .*\n", "", self.zelvox(*arguments, code=code, **options)[1])
            self.assertRegex(sentence, r"\Azelvox[^\n]*: [^\n]+\n\Z")
            self.assertRegex(sentence, reason)
            self.assertNotRegex(sentence, self.TRICKS)
            self.assertLess(len(sentence), 700)
            if code != 2:  # what is said of a command line explains itself
                self.assertTrue(any(re.search(message, sentence) for message in messages_of_the_page()),
                                f"docs/troubleshooting.md does not have: {sentence}")

    def simulated(self, fmu, *arguments, run=True):
        """The columns of the result as they stand in the table."""
        if run:
            self.zelvox("simulate", fmu, "--output-file", "out.csv", *arguments)
        with open(self.home / "out.csv", encoding="utf-8", newline="") as table:
            return {column[0]: list(column[1:]) for column in zip(*csv.reader(table), strict=True)}

    def write(self, name, content):
        (self.home / name).write_bytes(content if isinstance(content, bytes) else content.encode())
        return name

    def archive(self, *entries, name="new.fmu"):
        with zipfile.ZipFile(self.home / name, "w", zipfile.ZIP_DEFLATED) as archive:
            for entry in entries:
                archive.writestr(*entry)
        return (self.home / name).read_bytes()

    def gnuplot(self, script):
        """An environment in which `gnuplot` does what the shell script says, and then what it is."""
        (self.home / "bin").mkdir(exist_ok=True)
        self.write("bin/gnuplot", f'#!/bin/sh\n{script}\nexec {GNUPLOT} "$@"\n')
        os.chmod(self.home / "bin/gnuplot", 0o755)
        return {"PATH": f"{self.home}/bin:{os.environ['PATH']}", "HOME": str(self.home)}

    def changed(self, name, change):
        """A copy of the motor's FMU in which one file is another, or none."""
        with zipfile.ZipFile(motor()) as archive:
            entries = {entry: archive.read(entry) for entry in archive.namelist()}
        entries[name] = change(entries[name])
        self.archive(*(entry for entry in entries.items() if entry[1] is not None))
        return "new.fmu"


class Stubbed(Case):
    """Has the FMU of stub/stub.c, which needs no Java, writes down what is called and misbehaves on demand."""

    def stub(self, xml=XML, binary=STUB):
        self.archive(("modelDescription.xml", xml), ("binaries/linux64/stub.so", binary),
                     ("binaries/win32/stub.dll", ""), name="stub.fmu")
        return "stub.fmu"

    def traced(self, *line, env={}, plan="", **options):
        """What is written to stdout and to stderr, and the calls; there is no JVM."""
        self.write("trace", "")
        env = {"JAVA_HOME": "/nowhere", "STUB_TRACE": str(self.home / "trace"), "STUB_PLAN": plan, **env}
        out, err = self.zelvox(*line, env=env, **options)
        return out, err, (self.home / "trace").read_text().splitlines()


class Importer(Case):
    """Has the FMUs unpacked, in `motor ü%20 +` and `odd`, and an importer written in Python."""

    def setUp(self):
        super().setUp()
        for fmu, name in ((motor(), "motor ü%20 +"), (odd(), "odd")):
            zipfile.ZipFile(fmu).extractall(self.home / name)

    def python(self, script, *options, code=0):
        """What the script prints, by lines, under `zelvox exec`."""
        script = ("from importer import Instance\nimport os, shutil\nMOTOR = 'motor ü%20 +'\n"
                  "URI = 'file:///proc/self/cwd/motor%20%C3%BC%2520%20+/resources'\n"
                  "ODD = 'file:///proc/self/cwd/odd/resources'\n" + script)
        return self.zelvox("exec", *options, "--", sys.executable, "-Bc", script, code=code,
                           env={"PYTHONPATH": f"{Path(__file__).parent}:{PACKAGE}"})[0].splitlines()


class Author(Case):
    """Has the model that `zelvox new` makes, as Tank.java."""

    def setUp(self):
        super().setUp()
        self.zelvox("new", "com.acme.Tank")
        self.tank = (self.home / "Tank/Tank.java").read_text()
        self.write("Tank.java", self.tank)

    def start(self, command, *arguments, **options):
        # One small file is compiled before the JVM's second compiler is of any use.
        quick = ["--jvm-option=-XX:TieredStopAtLevel=1"] if command in ("pack", "simulate") else []
        return super().start(command, *quick, *arguments, **options)

    def packed(self, *arguments):
        """What lies in the jar of the classes, and what `zelvox info` says."""
        out = self.zelvox("pack", *arguments, "-o", "new.fmu")
        self.assertEqual(out, ("new.fmu: Tank (com.acme.Tank) with 1 input, 1 output and 2 parameters\n", ""))
        with zipfile.ZipFile(self.home / "new.fmu") as fmu:
            with zipfile.ZipFile(io.BytesIO(fmu.read("resources/model.jar"))) as jar:
                return {name: jar.read(name) for name in jar.namelist()}, self.zelvox("info", "new.fmu")[0]

    def write(self, name, content):
        (self.home / name).parent.mkdir(parents=True, exist_ok=True)
        return super().write(name, content)

    def classes(self, *arguments, **others):
        """Has a directory of classes, as a compiler makes them."""
        for name, content in {**self.packed(*(arguments or ["Tank.java"]))[0], **others}.items():
            self.write(f"classes/{name}", content)

    def changed_source(self, *change, name="Tank.java"):
        self.assertIn(change[0], self.tank)
        text = self.tank.replace(*change)
        return self.write(name, text + "}" * (text.count("{") - text.count("}")))
