"""`zelvox info`: what it shows to people, what it tells programs, and what it finds in a description."""

import json
import os
import re
import unittest

from case import Case, motor, odd
from test_any_fmu import PARAMETER, VARIABLE, XML


class Stub(Case):
    def stub(self, xml=XML, binary=b""):
        self.archive(("modelDescription.xml", xml), ("binaries/linux64/stub.so", binary),
                     ("binaries/win32/stub.dll", ""), name="stub.fmu")
        return "stub.fmu"


class Shown(Stub):
    def test_info_tells_every_fact(self):
        out = self.zelvox("info", self.stub(binary=os.urandom(100 << 10)))[0]
        self.assertEqual(re.sub("Size         10[0-9] KiB", "Size", out), """\
Model        stub, version 3
Description  Repeats
Author       Ann
Copyright    (c) Ann
Licence      MIT
Kind         FMI 2.0, co-simulation and model exchange
Experiment   start 0 s, stop 1 s, step 0.25 s, tolerance 1e-06
Platforms    linux64, win32
Made by      hand, 2000-01-01T00:00:00Z
GUID         g & h
Size, 3 files

Inputs (3)
  Name    Type     Start  Range  Unit  Description
  set     Real       1.5  .. 9   mm    where to
  count   Integer     -3
  locked  Boolean   true

Outputs (6)
  Name     Type         Range  Unit   Description
  moved    Real         .. 9   mm
  ratio    Real         .. 9   mm/kg  set per mass
  counted  Integer
  engaged  Enumeration
  held     Boolean
  shown    String

Parameters (3)
  Name   Type          Start  Unit
  mass   Real              2  kg
  gear   Enumeration       2
  label  String       "none"

2 internal (--all shows them)
""")
        long = "ü" * 50
        many = [VARIABLE % (f"p{i} {long}", i, f'{PARAMETER} description="d{i} {long * 4}"', "<Boolean start='0'/>")
                for i in range(10)]
        for xml, size, facts in (
                (XML, 2 << 20, ["Size         2.0 MiB, 3 files"]),
                (XML.replace("<CoS", "<!--").replace('"false"/>', "-->").replace(' version="3"', ""), 0,
                 ["Model        stub", "Kind         FMI 2.0, model exchange", "Needs        the tool that made it"]),
                (XML.replace("</ModelV", "".join(many[:6]) + "</ModelV"), 0,
                 ["Parameters (9)", f"  p5 {long[:36]}…  Boolean       false        d5 {long}{long[:6]}…"]),
                (XML.replace("</ModelV", "".join(many[:7]) + "</ModelV"), 0,
                 ["Parameters (10)", "  ... and 2 more (--all shows them)"])):
            out = self.zelvox("info", self.stub(xml, os.urandom(size)))[0].splitlines()
            self.assertEqual([fact for fact in facts if fact not in out], [])
        out = self.zelvox("info", "--all", "stub.fmu")[0].splitlines()
        self.assertIn(f"  p6 {long}  Boolean       false        d6 {long * 4}", out)
        self.assertEqual([line for line in out if re.match("[CL].* var| *slack|Calc", line)],
                         ["Calculated parameters (1)", "  slack  Boolean", "Local variables (1)"])
        self.assertIn("\nNeeds        a JVM in the importer's process, with zelvox.jar\n",
                      self.zelvox("info", motor())[0])
        rows = self.zelvox("info", odd())[0].splitlines()
        self.assertIn("  Größe     1e-09 .. 1e+09    0.001  kN    N         input of the last step", rows)
        self.assertIn('  in, "quoted"    0.1  -273.15 .. 1e+300  °C     °F        <&>', rows)

    def test_programs_get_everything_under_the_names_of_fmi(self):
        facts = json.loads(self.zelvox("info", "--json", self.stub())[0])
        variables = {variable["name"]: variable for variable in facts["ModelVariables"]}
        self.assertEqual(facts | {"size": 0, "ModelVariables": len(variables)}, {
            "fmiVersion": "2.0", "modelName": "stub", "guid": "g & h", "description": "Repeats", "author": "Ann",
            "version": "3", "copyright": "(c) Ann", "license": "MIT", "generationTool": "hand",
            "generationDateAndTime": "2000-01-01T00:00:00Z", "kinds": ["CoSimulation", "ModelExchange"],
            "modelIdentifier": "stub", "needsExecutionTool": False, "needsJvm": False,
            "platforms": ["linux64", "win32"], "size": 0, "files": 3,
            "DefaultExperiment": {"startTime": 0, "stopTime": 1, "stepSize": 0.25, "tolerance": 1e-6},
            "UnitDefinitions": [{"name": "mm", "BaseUnit": {"m": 1, "factor": 0.001, "offset": 0}}, {"name": "kg"}],
            "ModelVariables": 14})
        self.assertEqual(facts["size"], (self.home / "stub.fmu").stat().st_size)
        common = {"causality": "input", "variability": "continuous", "type": "Real"}
        self.assertEqual(variables["set"], common | {
            "name": "set", "valueReference": 0, "description": "where to", "unit": "mm", "max": 9, "start": 1.5})
        for name, start in (("count", "-3"), ("gear", "2"), ("locked", "true"), ("label", '"none"'), ("mass", "2.0")):
            self.assertEqual(json.dumps(variables[name]["start"]), start)
        units = json.loads(self.zelvox("info", "--json", odd())[0])["UnitDefinitions"]
        self.assertEqual(units[0]["DisplayUnit"], [{"name": "°F", "factor": 1.8, "offset": 32}])
        strange = (VARIABLE % ("a\xff\x9b\t&#x202e;", 9, "", '<Real min="-INF" max="inf" nominal="NaN"/>')).encode("latin-1")
        out = self.zelvox("info", "--json", self.stub(XML.encode().replace(b"</ModelV", strange + b"</ModelV")))[0]
        self.assertTrue(out.isascii())
        variable = json.loads(out)["ModelVariables"][-1]
        self.assertEqual((variable["min"], variable["max"], variable["nominal"]), ("-INF", "INF", "NaN"))
        self.assertRegex(variable["name"], "a\ufffd+ \u202e")


if __name__ == "__main__":
    unittest.main()
