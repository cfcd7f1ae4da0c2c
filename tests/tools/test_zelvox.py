"""The command line `zelvox` as its users meet it: real files, real JVM. CMakeLists.txt runs each class
as one test."""

import io
import json
import math
import os
import re
import resource
import shutil
import signal
import stat
import sys
import unittest
import xml.etree.ElementTree as ElementTree
import zipfile
from pathlib import Path

from case import LIBRARY, MOTOR_JAR, ODD_JAR, SANITIZERS, ZELVOX, Case, Importer, motor, noise, odd, small_disk


class Pack(Case):
    def description(self, fmu):
        with zipfile.ZipFile(fmu) as archive:
            return ElementTree.fromstring(archive.read("modelDescription.xml"))

    def test_model_is_described_in_the_layout_of_the_library(self):
        facts = json.loads(self.zelvox("info", "--json", odd())[0])
        keys = ("name", "valueReference", "unit", "displayUnit", "min", "max", "nominal", "start")
        self.assertEqual([tuple(map(variable.get, keys)) for variable in facts["ModelVariables"]], [
            ("Größe", 0, "kN", "N", 1e-9, 1e9, 1e-3, None), ("länger 🐦", 1, *[None] * 6),
            ("step", 2, "s", *[None] * 5), ("gained", 3, *[None] * 6),
            ('in, "quoted"', 8, "°C", "°F", -273.15, 1e300, None, 0.1), ("held", 9, "flock", *[None] * 4, -1.5),
            ("gain", 10, *[None] * 5, 1 / 3), *((f"{name} at", i, "s", *[None] * 4, sys.float_info.max)
                                                for i, name in ((11, "fail"), (12, "exit"))),
            ("sleep", 13, "ms", None, 0, 1000, None, 0)])
        kinds = [tuple(map(variable.get, ("causality", "variability", "initial"))) for variable in facts["ModelVariables"]]
        self.assertEqual(kinds, [("output", "continuous", "calculated")] * 4 + [("input", "continuous", None)] * 2
                         + [("parameter", "tunable", "exact")] * 4)
        self.assertEqual(facts["UnitDefinitions"], [
            {"name": "°C", "BaseUnit": {"K": 1, "factor": 1, "offset": 273.15},
             "DisplayUnit": [{"name": "°F", "factor": 1.8, "offset": 32}]},
            {"name": "kN", "BaseUnit": {"kg": 1, "m": 1, "s": -2, "factor": 1000, "offset": 0}, "DisplayUnit": [
                {"name": "lbf", "factor": 224.8089430997105, "offset": 0}, {"name": "N", "factor": 1000, "offset": 0}]},
            *({"name": name} for name in ("s", "flock", "ms"))])
        self.assertEqual(facts["DefaultExperiment"], {"startTime": -1, "stopTime": 1, "stepSize": 0.25, "tolerance": 1e-5})
        root = self.description(motor())
        self.assertEqual(root.find("ModelVariables")[4][0].attrib, {"unit": "kg.m2", "start": "1e-04", "min": "1e-07", "max": "1000"})
        for unknowns in ("Outputs", "InitialUnknowns"):
            self.assertEqual([u.attrib for u in root.find(f"ModelStructure/{unknowns}")], [{"index": "1"}, {"index": "2"}])
        expected = dict(pair.split("=") for pair in (
            "modelIdentifier=DcMotor needsExecutionTool=false canInterpolateInputs=false "
            "canHandleVariableCommunicationStepSize=true canBeInstantiatedOnlyOncePerProcess=false "
            "canNotUseMemoryManagementFunctions=false canGetAndSetFMUstate=false").split())
        self.assertLessEqual(expected.items(), root.find("CoSimulation").attrib.items())
        self.assertEqual(" ".join(c.get("name") for c in root.find("LogCategories") if c.get("description")),
                         "logAll logError logFmiCall logEvent")

    def test_odd_texts_arrive(self):
        with zipfile.ZipFile(odd()) as archive:
            page = ElementTree.fromstring(archive.read("documentation/index.html").partition(b"\n")[2])
            self.assertEqual(archive.read("documentation/licenses/license.txt").decode(), "(c) Ann\n<free>\n")
        texts = [element.text for element in page.iter()]
        for text in ("Prüfstand <1> & 𝄞", 'All that is "odd",\nin two lines', "Ann & Bö", "<free>",
                     "-1 s to 1 s in steps of 0.25 s", 'in, "quoted"', "°C", "<&>", "-273.15 … 1e+300",
                     "zelvox simulate odd.fmu\nzelvox exec -- fmpy simulate odd.fmu\n"):
            self.assertIn(text, texts)
        _, told = self.zelvox("pack", "--jar", ODD_JAR, "--model", "Odd", "--jvm-option", "-Dodd=tells", "-o", "x.fmu")
        self.assertEqual(told.count("freed\n"), 2)  # one for each of the two that were compared

    def test_units_that_are_not_defined_are_told(self):
        warnings = [self.zelvox("pack", "--jar", jar, "-o", "x.fmu", *options)[1]
                    for jar, *options in ((ODD_JAR, "--model", "Odd"), (MOTOR_JAR,))]
        self.assertRegex(warnings[0], r"\Azelvox: warning: [^\n]* 's' of step, 'flock' of held, 'ms' of sleep are not "
                         r'defined[^\n]*@UnitDefinition\(name = "s"[^\n]*\n\Z')
        self.assertEqual(warnings[1], "")

    def test_fmu_has_all_files_and_the_same_input_gives_the_same_bytes(self):
        fmus = []
        for epoch, zone in ("86400", "UTC"), ("1000000000", "UTC"), ("1000000000", "Asia/Tokyo"):
            self.zelvox("pack", "--jar", MOTOR_JAR, "-o", "motor.fmu", env={"SOURCE_DATE_EPOCH": epoch, "TZ": zone})
            fmus.append((self.home / "motor.fmu").read_bytes())
        self.assertTrue(fmus[1] == fmus[2])
        self.assertEqual(self.description(self.home / "motor.fmu").get("generationDateAndTime"), "2001-09-09T01:46:40Z")
        self.assertEqual({entry.date_time[0] for entry in zipfile.ZipFile(io.BytesIO(fmus[0])).infolist()}, {1980})  # the first that zip knows
        with zipfile.ZipFile(self.home / "motor.fmu") as archive:
            self.assertEqual({entry.date_time for entry in archive.infolist()}, {(2001, 9, 9, 1, 46, 40)})
            self.assertEqual(archive.namelist()[:3], [
                "modelDescription.xml", "binaries/linux64/DcMotor.so", "resources/model.properties"])
            self.assertTrue(archive.read("resources/dcmotor.jar") == Path(MOTOR_JAR).read_bytes())
            self.assertIn(b"inertia of rotor and load", archive.read("documentation/index.html"))
            self.assertIn(b"Java virtual machine", archive.read("documentation/externalDependencies.txt"))

    def test_libraries_may_be_a_class_path(self):
        for name in ("a.jar", "b.jar"):
            self.archive((name, ""), name=name)
        for libraries in ("", "b.jar:a.jar", ":b.jar"):  # Maven knows them so, and there may be none
            self.zelvox("pack", "--jar", MOTOR_JAR, "--jar", libraries, "-o", "x.fmu")
            with zipfile.ZipFile(self.home / "x.fmu") as archive:
                jars = re.findall(r"jar\.\d+=(.*)", archive.read("resources/model.properties").decode())
            self.assertEqual(jars, ["dcmotor.jar", *filter(None, libraries.split(":"))])

    def test_bad_model_or_target_leaves_what_was_there(self):
        self.write("old.fmu", "old")
        self.write("no.jar", "no jar")
        shutil.copy(MOTOR_JAR, self.home / "odd.jar")
        before = sorted(os.listdir(self.home))
        moods = {"null": "is null", "empty": "no variable", "throws": "no idea what I am", "slips": r"IndexOutOf.* 4 .*Odd\.describe\(Odd\.java:\d+\)", "exit": "Java code ended",
                 "nan": "is NaN", "surrogate": "control characters", "displayed": "shown in 'kg'",
                 "ambiguous": "two display units 'N'", "changing": "differently", "refuses": "gain at its start"}
        jar, model = ("--jar", ODD_JAR, "-o"), ("--model", "Odd", "--jvm-option")
        for reason, arguments, options in [
                *((reason, (*jar, "old.fmu", *model, f"-Dodd={mood}"), {}) for mood, reason in moods.items()),
                ("no.jar is no readable", ("--jar", "no.jar", "-o", "old.fmu"), {}),
                ("two jars are called odd.jar", (*jar, "old.fmu", "--jar", "odd.jar"), {}),
                ("tmp cannot be written", (*jar, "tmp", "--model", "Odd"), {}),
                ("none/x cannot be written", (*jar, "none/x", "--model", "Odd"), {}),
                ("old.fmu cannot be written", (*jar, "old.fmu", "--model", "Odd"),
                 small_disk(30_000))]:
            self.refuses(reason, "pack", *arguments, **options)
            self.assertEqual(sorted(os.listdir(self.home)), before)
            self.assertEqual((self.home / "old.fmu").read_text(), "old")


class Carried(Importer):
    def test_fmus_with_different_models_run_side_by_side(self):
        lines = self.python("""
motors = [Instance(MOTOR, f'motor {i}', URI) for i in range(2)]
odd = Instance('odd', 'odd', ODD)
for instance, reference, value in ((motors[0], 4, 1.0), (motors[1], 4, -2.0), (odd, 8, 0.25)):
    instance.set(reference, value)
for i in range(2000):
    for instance in (*motors, odd):
        instance.step(0.001)
print(motors[0].get(0), motors[1].get(0), odd.get(0), odd.get(2), sep='\\n')
motors[0].free()
# An instance that is freed takes the connection with it, and the next brings one back.
motors[0] = Instance(MOTOR, 'motor 2', URI)
motors[1].step(0.001)
print(motors[1].get(0))
for instance in (*motors, odd):
    instance.free()""")
        speed = 0.05 / (0.5 * 1e-5 + 0.05**2)  # steady by then
        for value, expected in zip(lines, (speed, -2 * speed, 0.25, 0.001, -2 * speed), strict=True):
            self.assertAlmostEqual(float(value), expected, delta=1e-6)

    def test_model_is_found_however_the_importer_spells_the_uri(self):
        (self.home / "odd").rename(self.home / "odd ü+")
        escaped = (self.home / "motor ü%20 +/resources").as_uri().removeprefix("file://")
        motors = [f"{start}{escaped}{end}" for start in ("file://", "file:", "FILE://localhost") for end in ("", "/")]
        odds = [f"file://{self.home}/odd ü+/resources", f"file:{self.home}/odd ü+/resources/"]
        lines = self.python(f"""
for uri in {motors + odds!r}:
    instance = Instance('odd ü+', 'name', uri)
    instance.step(0.5)
    print(instance.get(2))
    instance.free()
for uri in ('http://localhost/resources', 'file:///nowhere', 'nowhere'):
    try:
        Instance('odd ü+', 'name', uri)
    except RuntimeError as problem:
        print('model.properties in the resources' in str(problem))""")
        self.assertEqual(lines, ["0.0"] * len(motors) + ["0.5"] * len(odds) + ["True"] * 3)

    def test_model_of_the_class_path_serves_an_fmu_without_one(self):
        script = "motor = Instance('odd', 'name', 'file:///nowhere')\nmotor.step(0.5)\nprint(motor.get(10))"
        self.assertEqual(self.python(script, "--class-path", MOTOR_JAR), ["0.001"])


class Simulate(Case):
    def test_summary_speaks_the_display_unit_and_the_table_the_unit(self):
        out = self.zelvox("simulate", odd(), "--output-file", "out.csv", "--output-variable=Größe",
                          '--output-variable=in, "quoted"')[0]
        self.assertRegex(out, r"Größe +100  N\n  in, .* +32\.18  °F\n")
        self.assertEqual(self.simulated(odd(), run=False)["Größe"][-1], "0.1")
        turns = '<DisplayUnit name="turns" factor="2" offset="7"/><DisplayUnit name="no" factor="0"/>'
        for own, declared, shown in (
                ('unit="rad/s"', "", "rad/s"), ('unit="rad/s" displayUnit="rpm"', "", "rpm"),
                ('declaredType="T"', 'unit="rad/s" displayUnit="rpm"', "rpm"),
                ('declaredType="T" displayUnit="turns"', 'unit="rad/s" displayUnit="rpm"', "turns"),
                ('declaredType="T" displayUnit="turns"', 'unit="rad/s" relativeQuantity="true"', "2 turns"),
                ('unit="rad/s" displayUnit="turns" relativeQuantity="true"', "", "2 turns"),
                ('unit="rad/s" displayUnit="turn"', "", "rad/s"), ('unit="A" displayUnit="rpm"', "", "A"),
                ('unit="rad/s" displayUnit="no"', "", "rad/s")):
            types = f'<TypeDefinitions><SimpleType name="T"><Real {declared}/></SimpleType></TypeDefinitions>'
            fmu = self.changed("modelDescription.xml", lambda old: old.decode().replace(
                'Real unit="rad/s"', "Real " + own).replace("<LogCat", types + "<LogCat").replace(
                '<DisplayUnit name="rpm"', turns + '<DisplayUnit name="rpm"').encode())
            with self.subTest(own=own, declared=declared):
                out = self.zelvox("simulate", fmu, "--start-value=voltage=12", "--output-file=out.csv")[0]
                value, unit = re.search(r"speed +(\S+)  (\S+)", out).groups()
                speed = float(self.simulated(fmu, run=False)["speed"][-1])
                self.assertEqual(unit, shown.split()[-1])
                self.assertAlmostEqual(float(value), {"rpm": speed * 30 / math.pi, "turns": 2 * speed + 7,
                                                      "2 turns": 2 * speed}.get(shown, speed), delta=1e-4)

    def test_failure_names_the_reason_and_keeps_the_rows(self):
        run = ("simulate", odd(), "--output-file", "out.csv", "--start-value")
        for value, reason in (("fail at=0.5", "fmi2DoStep at t=0.5 failed: .*the belt tore at 100 %d; out.csv has"),
                              ("exit at=0.5", "Java code ended the process with exit code 0\nzelvox: out.csv has")):
            self.assertRegex(self.zelvox(*run, value, code=1)[1], f"zelvox: {reason} the rows up to t=0.5\n\\Z")
            self.assertEqual(self.simulated(odd(), run=False)["time"], "-1 -0.75 -0.5 -0.25 0 0.25 0.5".split())
        self.refuses(r"parameter sleep \[ms\] cannot be -1\.0", *run, "sleep=-1")
        calls = self.zelvox(*run, "fail at=0.5", "--log-fmi-calls", code=1)[1].splitlines()
        self.assertEqual(sum(call.startswith("fmi2DoStep(") for call in calls), 7)
        self.assertEqual(calls[-2], "fmi2FreeInstance()")

    def test_what_cannot_be_simulated_is_one_sentence(self):
        binary, description = "binaries/linux64/DcMotor.so", "modelDescription.xml"
        foreign = Path(ZELVOX).with_name("preload").joinpath("zelvox-preload.so").read_bytes()
        for reason, name, change in (
                ("no binary for 64-bit Linux", binary, lambda old: None),
                ("cannot be loaded", binary, lambda old: b"no ELF"), ("no function fmi2", binary, lambda old: foreign),
                ("no modelDescription.xml", description, lambda old: None),
                ("(?i)guid", description, lambda old: old.replace(b'guid="{', b'guid="{0')),
                ("model exchange only", description, lambda old: old.replace(b"CoSimulation", b"ModelExchange")),
                ("FMI '3.0'", description, lambda old: old.replace(b'"2.0"', b'"3.0"')),
                ("no binary", description, lambda old: old.replace(b'"DcMotor"', b'"../../x"')),
                ("linux64/a b.so", description, lambda old: old.replace(b'"DcMotor"', b'"a&#10;b"')),
                ("dcmotor.jar is no readable jar", "resources/dcmotor.jar", lambda old: old[:1000])):
            self.refuses(reason, "simulate", self.changed(name, change))
        for option, reason in (
                ("--start-value=Voltage=1", "did you mean 'voltage'"), ("--start-value=R=much", "a finite number"),
                ("--start-value=speed=1", "an input or a parameter"), ("--start-value=R=inf", "a finite number"),
                ("--output-variable=sped", "did you mean 'speed'"), ("--output-variable=humidity", "zelvox info"),
                ("--plot-file=none/out.svg", "none/out.svg"), ("--output-file=none/out.csv", "none/out.csv cannot be")):
            self.refuses(reason, "simulate", motor(), option, "--quiet")

    def test_picture_wants_gnuplot_before_the_run(self):
        self.refuses("install the package gnuplot", "simulate", odd(), "--output-file=out.csv", "--plot-file=out.svg",
                     env={"PATH": str(self.home)})
        self.assertFalse((self.home / "out.csv").exists())

    @unittest.skipUnless(shutil.which("gnuplot"), "no gnuplot")
    def test_picture_speaks_display_units_and_long_times(self):
        for start, length, ticks in ((1e6, 9999, "1.002e+06 s"), (0, 10_000, "160 min"), (0, 35_999, "500 min"),
                                     (0, 36_000, "10 h"), (0, 863_999, "200 h"), (0, 864_000, "10 d")):
            self.zelvox("simulate", odd(), "--start-time", start, "--stop-time", start + length, "--output-interval",
                        length / 10, "--output-variable=Größe", "--plot-file=out.svg", "--start-value=in, \"quoted\"=0.25")
            texts = [t.strip() for t in ElementTree.parse(self.home / "out.svg").getroot().itertext() if t.strip()]
            tick, unit = ticks.split()
            self.assertLessEqual({tick, f"time [{unit}]", "250"}, set(texts), (start, length))


class Inputs(Case):
    def test_rows_are_interpolated_held_outside_and_may_jump(self):
        self.write("in.csv", 'time,gain,"in, ""quoted"""\n1,1,0\n2,3,8\n2,2,-4\n3,2,-4\n3.5,5,0\n')
        names = ('in, "quoted"', "Größe", "gained")
        result = self.simulated(odd(), "--start-time=0", "--stop-time=4", "--output-interval=0.25",
                                "--input-file=in.csv", "--start-value=held=2",
                                *(f"--output-variable={name}" for name in names))
        set_, used, gained = ([float(cell) for cell in result[name]] for name in names)
        times = [0.25 * i for i in range(17)]
        self.assertEqual(set_, [0 if t < 1 or t >= 3.5 else 8 * t - 8 if t < 2 else -4 if t < 3 else 8 * t - 28
                                for t in times])
        # A step computes with what was set at its beginning; a parameter changes by steps only.
        self.assertEqual(used[1:], set_[:-1])
        self.assertEqual(gained[1:], [2 * (1 if t < 2 else 2 if t < 3.5 else 5) for t in times[:-1]])

    def test_bad_table_is_refused_with_the_place(self):
        for table, reason in (
                ("time,voltage;load\n0,0\n", "in.csv, line 1, column 2: .*voltage;load"),
                ("time,voltage,voltage\n0,0,0\n", "line 1, column 3: .*already"), ("time,speed\n0,0\n", "is an output"),
                ("time,load,Voltag\n0,0,0\n", "line 1, column 3: .*mean 'voltage'"), (b"time,\xff\xfe\n0,0\n", "column 2")):
            self.refuses(reason, "simulate", motor(), "--input-file", self.write("in.csv", table))
        for file in ("none.csv", "tmp"):
            self.refuses(f"cannot read {file}", "simulate", motor(), "--input-file", file)


class Hostile(Case):
    XML = ('<fmiModelDescription fmiVersion="2.0" modelName="m" guid="g"><CoSimulation modelIdentifier="m"/>'
           '<ModelVariables>%s</ModelVariables></fmiModelDescription>')
    VARIABLE = '<ScalarVariable name="v" valueReference="%s" causality="output">%s</ScalarVariable>'

    def fmu(self, *entries):
        return self.archive(("modelDescription.xml", self.XML % ""), *entries)

    def every_command_refuses(self, content, reason):
        self.write("new.fmu", content)
        before = sorted(self.home.rglob("*"))
        for command in ("info", "simulate"):
            self.refuses(reason, command, "new.fmu")
        self.assertEqual(sorted(self.home.rglob("*")), before)

    def test_bad_archive_is_refused_by_every_command(self):
        def special(kind):
            info = zipfile.ZipInfo("special")
            info.create_system, info.external_attr = 3, (kind | 0o777) << 16
            return info, "../escaped"

        def lie(field, size, value, entries=1, content=None):  # of the directory, about the first entries
            content = bytearray(content or fine)
            for entry in list(re.finditer(b"PK\1\2", content))[:entries]:
                content[entry.start() + field:entry.start() + field + size] = value.to_bytes(size, "little")
            return bytes(content)

        fine, size = self.fmu(("a", "text")), len(self.XML % "")
        names = {"/tmp/escaped": "absolute", "../escaped": "would leave", "a/../../escaped": "would leave",
                 "..": "would leave", "a\\..\\escaped": "backslash", "C:escaped": "drive letter",
                 "a//b": "empty step", "./a": "empty step", "a\nb": "control character",
                 "a\x9bb": "control character", "a\u202eb": "control character", 32 * "a/" + "b": "32 levels deep"}
        deep = [("/".join([str(i), *map(str, range(30)), ""]), "") for i in range(3300)]  # 31 directories each
        for content, reason in (
                (b"", "cannot be opened"), (b"no zip at all", "cannot be opened"), (lie(8, 2, 1), "is encrypted"),
                *((lie(*claim), "inconsistent|cannot be read|of the size|unpacks to") for claim in (
                    (10, 2, 99), (16, 4, 7), (24, 4, 0), (24, 4, size - 1), (24, 4, size + 1), (24, 4, 2**32 - 16))),
                (lie(24, 4, 3 << 30, entries=2), "unpacks to more than 4096 MiB"),
                (self.fmu(("a", bytes(100 << 20))), "100 MiB, more than 200 times its own size"),
                (self.fmu(special(stat.S_IFLNK)), "symbolic link"), (self.fmu(special(stat.S_IFIFO)), "no plain file"),
                (self.fmu(("twin1", ""), ("twin2", "")).replace(b"twin2", b"twin1"), "'twin1' is there twice"),
                (self.fmu(("a", ""), ("a-b", ""), ("a/b", "")), "'a' is both a file and a directory"),
                (self.fmu(*deep), "has 102301 entries, more than 100000"),
                *((self.fmu((name, "text")), reason) for name, reason in names.items())):
            self.every_command_refuses(content, reason)
        # What is far larger than the directory says is not read to its end.
        self.write("new.fmu", lie(24, 4, 1, content=self.archive(("a", bytes(1 << 20)))))
        self.refuses("'a' is not of the size", "simulate", "new.fmu",
                     preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (100_000, 100_000)))
        self.write("new.fmu", lie(24, 4, 300 << 20, content=self.fmu(("a", noise(2 << 20)))))
        self.refuses("too large for a text", "info", "new.fmu")

    def test_bad_description_is_refused_by_every_command(self):
        xml, variable = self.XML, self.VARIABLE
        doctype = '<!DOCTYPE m [<!ENTITY a "aaaa"><!ENTITY b "&a;&a;"><!ENTITY c SYSTEM "/etc/hostname">]>'
        for text, reason in (
                ("", "no XML"), (xml[:100], "no XML"), ("<a>" * 200_000, "no XML"), (doctype + xml, "DOCTYPE"),
                ("<html/>", "fmiModelDescription, got 'html'"), (xml.replace(' guid="g"', ""), "no attribute guid"),
                (xml.replace("CoSimulation", "Simulation"), "neither CoSimulation"),
                ("\n" + xml % ("\n\r\n" + variable % (-1, "<Real/>")), "valueReference is '-1'"),
                (xml % variable % (2**32, "<Real/>"), "'4294967296'"), (xml % variable % (1, ""), "'v' has no type"),
                (xml % variable % (1, '<Real start="one&#10;two"/>'), "start is 'one two'"),
                (xml % variable % (1, '<Real declaredType="T"/>'), "'T', which is not defined")):
            content = self.archive(("modelDescription.xml", text))
            self.every_command_refuses(content, f"modelDescription.xml, line {1 + text.count(chr(10))}: .*{reason}")

    def test_name_in_another_code_page_is_no_fault(self):
        self.archive(("Qel.txt", ""), *((entry, zipfile.ZipFile(motor()).read(entry)) for entry in zipfile.ZipFile(motor()).namelist()))
        self.write("new.fmu", (self.home / "new.fmu").read_bytes().replace(b"Qel.txt", b"\x99l/.txt"))
        self.assertIn("Platforms    linux64", self.zelvox("info", "new.fmu")[0])
        self.assertEqual(len(self.simulated("new.fmu")["time"]), 501)

    def test_what_is_large_is_no_attack(self):
        self.fmu(*((f"resources/{i}", "") for i in range(99_997)), ("table", bytes(60 << 20)))
        self.assertIn(", 99999 files\n", self.zelvox("info", "new.fmu")[0])
        with zipfile.ZipFile(self.home / "new.fmu", "a") as archive:
            archive.writestr("one", "")
        self.refuses("has 100001 entries, more than 100000", "info", "new.fmu")
        many = "".join(self.VARIABLE % (i, "<Real/>") for i in range(100_000))
        self.archive(("modelDescription.xml", self.XML % many))
        out = self.zelvox("info", "new.fmu")[0]
        self.assertIn("Outputs (100000)", out)
        self.assertLess(len(out.splitlines()), 30)
        self.assertGreater(len(self.zelvox("info", "--all", "new.fmu")[0].splitlines()), 100_000)

    def test_deep_directories_are_removed_with_few_descriptors(self):
        self.fmu((31 * "a/" + "b", ""))
        for files in (24, 64):
            self.refuses("no binary", "simulate", "new.fmu",
                         preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_NOFILE, (files, files)))

    def test_no_text_of_a_file_plays_tricks_or_fills_the_terminal(self):
        tricks, shown = "a\x9b31mb\u202ec\u2066d\u2028e\x7ff", "a 31mb c d e f"
        escaped = "".join(f"&#{ord(c)};" for c in tricks)
        variable = self.VARIABLE.replace('"v"', f'"{escaped}"') % (0, f'<Real unit="{escaped}"/>')
        self.archive(("modelDescription.xml", (self.XML % variable).replace('"m"', f'"{escaped}"')))
        out = self.zelvox("info", "new.fmu")[0]
        self.assertEqual(out.count(shown), 3)
        self.assertNotRegex(out, self.TRICKS)
        self.refuses(f"linux64/{shown}.so", "simulate", "new.fmu")
        self.refuses(shown, "info", "new.fmu", tricks, code=2)
        for name in (tricks, b"x\x9by"):  # the byte alone is a control character, too
            for command in ("info", "simulate"):
                self.refuses(f"{shown}|x\ufffdy", command, name, code=2)
        out, err = self.zelvox("pack", "--jar", MOTOR_JAR, "-o", tricks)
        self.assertNotRegex(out + err, self.TRICKS)
        out, err = self.zelvox("simulate", tricks, "--output-file", tricks + ".csv", "--stop-time=0.002",
                               "--log-fmi-calls", "--logging-on")
        self.assertNotRegex(out + err, self.TRICKS)
        long = "l" * 100_000
        variables = "".join(self.VARIABLE.replace('"v"', f'"{long}"') % (i, f'<Real unit="{long}"/>') for i in range(9))
        self.archive(("modelDescription.xml", (self.XML % variables).replace('"m"', f'"{long}"')))
        self.refuses("linux64/lll", "simulate", "new.fmu")
        self.assertLess(len(self.zelvox("info", "new.fmu")[0]), 3000)
        self.assertLess(len(self.zelvox("info", "--all", "new.fmu")[0]), 25 * len(long))

    def test_damaged_archive_never_crashes_a_command(self):
        whole = motor().read_bytes()
        for length in (1, 21, 22, 100, *range(1000, len(whole), len(whole) // 20), len(whole) - 1):
            self.refuses("cut.fmu", "info", self.write("cut.fmu", whole[:length]))


class Exec(Importer):
    HAS_JVM = "print('libjvm.so' in open('/proc/self/maps').read(), flush=True)"

    def report(self, launcher=(), arguments=(), options=(), env={}):
        """Whether Python has a JVM and whether its child, LD_PRELOAD, what else is left, the arguments."""
        script = (f"import json, os, subprocess, sys\n{self.HAS_JVM}\n"
                  f"subprocess.run([sys.executable, '-c', {self.HAS_JVM!r}])\n"
                  "print(json.dumps([os.environ.get('LD_PRELOAD'), [n for n in os.environ if 'ZELVOX' in n],"
                  " sys.argv[1:]]))")
        own, child, rest = self.zelvox("exec", *options, "--", *launcher, sys.executable, "-c", script, *arguments,
                                       env=env)[0].splitlines()
        return [own, child, *json.loads(rest)]

    def test_program_has_a_jvm_its_children_have_none_and_the_environment_is_clean(self):
        for launcher in ((), ("env", "A=1"), ("sh", "-c", 'exec "$0" "$@"'), ("nice", "env")):
            self.assertEqual(self.report(launcher), ["True", "False", SANITIZERS, [], []])
        others = ":".join(filter(None, (SANITIZERS, "libm.so.6")))
        self.assertEqual(self.report(env={"LD_PRELOAD": others}), ["True", "False", others, [], []])
        own, child, objects, *_ = self.report(env={"LD_PRELOAD": others}, options=("--follow",))
        self.assertEqual((own, child, objects[:len(others) + 1]), ("True", "True", others + ":"))

    def test_image_that_is_replaced_has_the_jvm_and_the_environment_that_it_is_given(self):
        for call in ("execve(PATH, ARGUMENTS, GIVEN)", "execvpe(PATH, ARGUMENTS, GIVEN)",
                     "execveat(-100, PATH, ARGUMENTS, GIVEN, 0)", "fexecve(os.open(PATH, os.O_RDONLY), ARGUMENTS, GIVEN)",
                     "execle(PATH, *ARGUMENTS, GIVEN)"):
            with self.subTest(call):
                given, *report = self.python(f"""
import ctypes, sys
def texts(*items):
    return (ctypes.c_char_p * (len(items) + 1))(*map(str.encode, items), None)
script = {self.HAS_JVM!r} + '; import os; print(sorted(f"{{k}}={{v}}" for k, v in os.environ.items()))'
given = ['A=1', 'LC_ALL=C'] + [f'{{k}}={{v}}' for k, v in os.environ.items() if k in ('LD_PRELOAD', 'ASAN_OPTIONS')]
print(sorted(given), flush=True)
PATH, ARGUMENTS, GIVEN = sys.executable.encode(), texts('python3', '-c', script), texts(*given)
ctypes.CDLL(None).{call}""")
                self.assertEqual(report, ["True", given])

    def test_shell_has_no_jvm_of_its_own(self):
        self.zelvox("exec", "--", "sh", "-c", "! grep -q libjvm.so /proc/$$/maps")

    def test_option_of_the_user_has_the_last_word(self):
        options = ("--jvm-option=-XX:-DisableAttachMechanism", "--jvm-option=-XX:+PrintFlagsFinal")
        self.assertRegex(self.zelvox("exec", *options, "--", "true")[1], r"bool DisableAttachMechanism +:?= false ")

    def test_arguments_and_streams_pass_untouched(self):
        arguments = ["", "a b", "[a,b]", "{}", "--help", "--jvm-option", "--", "-x=\n", "%s", "ü", "@f"]
        self.assertEqual(self.report(arguments=arguments)[4], arguments)
        text = "".join(map(chr, (0, *range(14, 0x3000)))) * 20
        copy = "import sys; sys.stdout.buffer.write(sys.stdin.buffer.read())"
        out, err = self.zelvox("exec", "--", sys.executable, "-c", copy, input=text)
        self.assertEqual((out == text, err), (True, ""))

    def test_exit_code_is_that_of_the_program_or_says_why_there_is_none(self):
        self.python("raise SystemExit(7)", code=7)
        self.python("os.kill(os.getpid(), 9)", code=-9)
        self.zelvox("exec", "--", "sh", "-c", "exit 5", code=5)
        self.write("plain", "")
        for reason, code, env, *arguments in (
                ("Permission denied", 126, {}, "--", "./plain"), ("/ cannot be run", 126, {}, "--", "/"),
                ("none: command not found", 127, {}, "--", "none"), ("not found", 127, {}, "--", "plain/x"),
                ("JAVA_HOME is /nowhere", 3, {"JAVA_HOME": "/nowhere"}, "--", "true"),
                ("no JVM found", 3, {"JAVA_HOME": None, "PATH": str(self.home)}, "--", "true"),
                ("VM option 'NoSuch'", 3, {}, "--jvm-option", "-XX:NoSuch", "--", "true"),
                ("Invalid maximum heap", 3, {}, "--jvm-option", "-Xmx1x", "--", "true"),
                ("(?i)heap", 3, {}, "--jvm-option", "-Xms900000g", "--", "true")):
            self.refuses(reason, "exec", *arguments, code=code, env=env)

    def test_interrupt_reaches_python(self):
        process = self.start("exec", "--", sys.executable, "-c", """
import time
try:
    print('ready', flush=True)
    time.sleep(600)
except KeyboardInterrupt:
    print('interrupted')""")
        self.assertEqual(process.stdout.readline(), "ready\n")
        process.send_signal(signal.SIGINT)
        self.assertEqual(self.finish(process), ("interrupted\n", ""))


class Doctor(Case):
    def test_says_what_is_there_and_what_is_missing(self):
        for name, content in (("text", b"no library"), ("other", Path(LIBRARY).with_name("tools").joinpath(
                "preload/zelvox-preload.so").read_bytes())):
            (self.home / name / "lib/server").mkdir(parents=True)
            self.write(f"{name}/lib/server/libjvm.so", content)
        for name in ("bin", "no"):
            (self.home / name).mkdir()
        (self.home / "bin/java").symlink_to(Path(os.environ["JAVA_HOME"]) / "bin/java")
        (self.home / "no/java").symlink_to("/bin/sh")
        for home, path, failed, said in (
                (os.environ["JAVA_HOME"], "no", [], "JAVA_HOME is set"), ("/nowhere", "bin", ["JVM"], "is /nowhere"),
                (None, "no:bin", [], "java on the PATH: bin/java"),
                (None, "no", ["JVM"], "no/java is not part of a JDK"),
                (self.home / "text", "bin", ["libjvm.so", "JVM starts"], "set JAVA_HOME to a JDK"),
                (self.home / "other", "bin", ["JVM starts"], "cannot load the JVM")):
            with self.subTest(home=home, path=path):
                out = self.zelvox("doctor", code=bool(failed), env={"JAVA_HOME": home, "PATH": path})[0]
                self.assertIn(said, out)
                verdicts = {line[8:26].strip(): line.split()[0] for line in out.splitlines()}
                self.assertEqual([name for name in verdicts if verdicts[name] == "FAILED"], failed)
                self.assertEqual([verdicts["ZelvoxSim"], verdicts["library"]], ["-" if failed else "ok"] * 2)
                # What not everybody needs is no failure. There is no gnuplot on these PATHs.
                self.assertEqual([verdicts["compiler"], verdicts["gnuplot"]], ["-" if failed else "ok", "-"])


class Usage(Case):
    def test_wrong_command_line_is_exit_code_2_and_says_what_is_wrong(self):
        simulate = ("simulate", motor())
        for reason, *line in (
                ("--help",), ("'simulat'", "simulat", "x"), ("'--fast'", "--fast"), ("name the model", "pack", "-o", "x"),
                ("no file none.jar$", "pack", "--jar", "none.jar", "-o", "x"), ("FMU is missing: the FMU, .*zelvox simulate --help", "simulate"),
                ("there is no file moter.fmu$", "simulate", "moter.fmu"), ("there is no file none.fmu$", "info", "none.fmu"),
                ("'soon' is no number, expected --stop-time SECONDS .try", *simulate, "--stop-time=soon"),
                ("--stop-time has no value, expected --stop-time SECONDS .try", *simulate, "--stop-time"),
                ("--stop-time is given more than once .try", *simulate, "--stop-time=1", "--stop-time=1"),
                ("--quiet takes no value .try", *simulate, "--quiet=x"), ("new has no use for 'b' .try", "new", "a", "b"),
                ("--runs CSV is missing: what differs", "batch", motor()), ("choose --json or --check", "info", motor(), "--json", "--check"),
                ("stop time behind the start", *simulate, "--stop-time=0"),
                ("stop time behind", *simulate, "--stop-time=nan"), ("interval is 0", *simulate, "--output-interval=0"),
                ("lost in the digits", *simulate, "--output-interval=1e-30"), (".svg", *simulate, "--plot-file=x.txt"),
                ("0.01 is no whole .* 0.003; .* one: 0.009$", *simulate, "--output-interval=0.01", "--step-size=0.003"),
                ("expected NAME=VALUE", *simulate, "--start-value=R"), ("COMMAND .* is missing: the program .*zelvox exec --help", "exec"),
                ('behind "--"', "exec", "true"), ("--fast", "exec", "--fast", "--", "true"),
                ("line break", "exec", "--jvm-option", "-Da=\nb", "--", "true"), ("name a command",),
                ("'simulat', did you mean simulate?", "help", "simulat"), ("as in zelvox simulate a.fmu", "a.fmu"),
                ("'--start_values', did you mean --start-value?", *simulate, "--start_values=R=1"),
                ("'--stop', did you mean --stop-time?", *simulate, "--stop=1"),
                ("'--fast' .try zelvox simulate --help", *simulate, "--fast"), ("mean --version", "--verzion"),
                *(("as in --start-value R=0.5", "simulate", "--start-value", *words, "x.fmu")
                  for words in (("R", "0.5"), ("R=", "0.5"), ("R", "=", "0.5"), ("R", "=0.5")))):
            self.refuses(reason, *line, code=2)
        self.assertEqual(self.zelvox("help", "pack"), self.zelvox("pack", "--help"))
        self.assertEqual(self.zelvox("help"), self.zelvox("--help"))
        self.assertEqual(self.zelvox("-V"), self.zelvox("--version"))
        for epoch in ("now", "-1", "1.5"):
            self.refuses(f"SOURCE_DATE_EPOCH is '{epoch}'", "pack", "--jar", MOTOR_JAR, "-o", "x", code=2,
                         env={"SOURCE_DATE_EPOCH": epoch})


if __name__ == "__main__":
    unittest.main()
