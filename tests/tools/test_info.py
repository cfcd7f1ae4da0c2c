"""`zelvox info`: what it shows to people, what it tells programs, and what it finds in a description."""

import itertools
import json
import os
import re
import unittest

from case import PARAMETER, VARIABLE, XML, Case, Stubbed, motor, noise, odd


class Shown(Stubbed):
    def test_info_tells_every_fact(self):
        out = self.zelvox("info", self.stub(binary=noise(100 << 10)))[0]
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
  Name    Type     Start  Range  Nominal  Unit  Description
  set     Real       1.5  .. 9         3  mm    where to
  count   Integer     -3
  locked  Boolean   true

Outputs (6)
  Name     Type         Range  Nominal  Unit   Description
  moved    Real         .. 9         3  mm
  ratio    Real         .. 9         3  mm/kg  set per mass
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
            out = self.zelvox("info", self.stub(xml, noise(size)))[0].splitlines()
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
            "name": "set", "valueReference": 0, "description": "where to", "unit": "mm", "max": 9, "nominal": 3, "start": 1.5})
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


GOOD = """<?xml version="1.0" encoding="UTF-8"?>
<fmiModelDescription xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance"
    xsi:noNamespaceSchemaLocation="x.xsd" fmiVersion="2.0" modelName="good" guid="g"
    generationDateAndTime="2000-01-01T00:00:00Z" variableNamingConvention="structured">
  <ModelExchange modelIdentifier="good"><SourceFiles><File name="a.c"/></SourceFiles></ModelExchange>
  <CoSimulation modelIdentifier="good" canGetAndSetFMUstate="true" canSerializeFMUstate="1"/>
  <UnitDefinitions><Unit name="m"><BaseUnit m="1"/><DisplayUnit name="cm" factor="100"/></Unit><Unit name="m/s"/>
  </UnitDefinitions>
  <TypeDefinitions>
    <SimpleType name="Length"><Real unit="m" displayUnit="cm" min="0" max="9" nominal="2"/></SimpleType>
    <SimpleType name="Gear"><Enumeration><Item name="low" value="1"/><Item name="high" value="2"/></Enumeration></SimpleType>
  </TypeDefinitions>
  <LogCategories><Category name="all"/></LogCategories>
  <DefaultExperiment startTime="-1" stopTime="1" tolerance="1e-6" stepSize="0.1"/>
  <VendorAnnotations><Tool name="t"><whatever of="it"/></Tool></VendorAnnotations>
  <ModelVariables>
    <ScalarVariable name="time" valueReference="0" causality="independent"><Real/></ScalarVariable>
    <ScalarVariable name="height" valueReference="1" initial="exact"><Real declaredType="Length" start="5"/></ScalarVariable>
    <ScalarVariable name="speed" valueReference="2" causality="output"><Real unit="m/s" displayUnit="knots" derivative=" 2"/></ScalarVariable>
    <ScalarVariable name="push" valueReference="3" causality="input"><Real max="INF" start="0"/></ScalarVariable>
    <ScalarVariable name="gear" valueReference="4" causality="parameter" variability="fixed">
      <Enumeration declaredType="Gear" start="2"/></ScalarVariable>
    <ScalarVariable name="count" valueReference="5" causality="calculatedParameter" variability="tunable"><Integer/></ScalarVariable>
    <ScalarVariable name="edge" valueReference="6" variability="constant"><Real start="0" min="0" max="0"/></ScalarVariable>
    <ScalarVariable name="held" valueReference="7" causality="output" variability="discrete"><Boolean/></ScalarVariable>
    <ScalarVariable name="kept" valueReference="7" variability="discrete" initial="exact"><Boolean start=" true "/></ScalarVariable>
  </ModelVariables>
  <ModelStructure>
    <Outputs><Unknown index="3" dependencies="2 4" dependenciesKind="dependent fixed"/><Unknown index="8"/></Outputs>
    <Derivatives><Unknown index="3"/></Derivatives>
    <InitialUnknowns><Unknown index="3" dependencies="2 4"/><Unknown index="6"/><Unknown index="8"/></InitialUnknowns>
  </ModelStructure>
</fmiModelDescription>
"""
# What is changed, a part of what is said of that, its check, and the checks that find more in it.
WRONG = [line.split(" | ") for line in r"""
modelName="good" | - | fmiModelDescription: has no attribute modelName | schema
guid="g" | guid="" | guid is empty | version
"2.0" | "2.0.3" | fmiVersion is '2.0.3', expected 2.0 | version
"UTF-8" | "latin-1" | encoding is 'LATIN-1' | encoding
guid="g" | guid="g" autor="x" | has the attribute 'autor', .* did you mean author | schema
01T00 | 01 00 | expected a time such as | schema
"5" causality="calc | "5" causality="kalc | 'kalculatedParameter', expected one of parameter, | schema | initial-unknowns
"structured" | "wild" | expected one of flat, structured | schema
<LogCategories>.*</LogCategories> | <LogCategories/> | LogCategories: has no element Category | schema
(<Default.*>)\n(.*) | \2\1 | expected it before VendorAnnotations | schema
<BaseUnit m="1"/> | <BaseUnit m="1"/><BaseUnit m="1"/> | unit 'm', BaseUnit: the element 'BaseUnit' is one too many | schema
<BaseUnit m="1"/> | <BaseUnit m="0.5"/> | unit 'm', BaseUnit: m is '0.5', expected a whole number | schema
<Boolean/> | <Boolean/>Bool | variable 'held': has the text 'Bool', expected only elements | schema
<Boolean/> | <Boolean/><Bool/> | variable 'held', Bool: the element 'Bool' is not allowed | schema
"INF" | "inf" | variable 'push': max is 'inf', expected a number | schema
<(CoSimulation) modelIdentifier="good" | <\1 modelIdentifier="3d" | expected a name of C | kind | binary
"true" canSer | "false" canSer | expected canGetAndSetFMUstate | kind
ModelExchange modelIdentifier="good" | ModelExchange modelIdentifier="mood" | no 'binaries/linux64/mood.so' | binary
a\.c | b.c | File 'b.c': there is no such file in sources/ | binary
stopTime="1" | stopTime="-1" | stopTime is -1, expected more than startTime, -1 | experiment
stepSize="0.1" | stepSize="0" | stepSize is 0, expected more than 0 | experiment
"push" | "speed" | variable 'speed': there is another ScalarVariable | unique
"push" | "Gear" | variable 'Gear': a type has the same name | unique
name="m/s"/ | name="m/s"/><Unit name="m/s"/ | unit 'm/s': there is another Unit | unique
<Category name="all"/> | \g<0>\g<0> | Category 'all': there is another Category | unique
(<DisplayUnit .*?>) | \1\1 | unit 'm', DisplayUnit 'cm': there is another DisplayUnit | unique
unit="m/s" | unit="km/s" | variable 'speed': its unit 'km/s' is not defined | unit
<Real max | <Real displayUnit="cm" max | variable 'push': has the display unit 'cm' and no unit | unit
unit="m/s" | unit="m/s" declaredType="Gear" | its type 'Gear' is not of the kind Real | type
unit="m/s" | unit="m/s" declaredType="Speed" | its type 'Speed' is not defined | type
"high" | "low" | type 'Gear', Item 'low': there is another Item | enumeration
"low" value="1" | "low" value="2" | another Item has the value 2 | enumeration
min="0" max="9" | min="10" max="9" | type 'Length': min is 10, expected at most max, 9 | range | start
max="INF" | nominal="0" | variable 'push': nominal is 0, expected more than 0 | range
"output" variability="discrete" | "output" | variable 'held': is continuous, which is the default | combination
"push" | "pu&#10;sh" | has a line break | name
"push" | "'" | a name that is not structured | name
"push" valueReference="3" | "push" valueReference="+3" | valueReference is '\+3', expected a whole number from 0 on | schema
<Boolean/> | <Boolean start="yes"/> | variable 'held': start is 'yes', expected true or false | schema | alias | start
"5" causality="calculatedParameter" | "5" causality="input" | causality input with variability tunable is not allowed | combination | start | initial-unknowns
"7" variability="discrete" initial="exact" | "7" initial="approx" variability="constant" | initial is 'approx', expected exact for causality local | combination | alias
"input"><Real max="INF" | "input" initial="exact"><Real | initial is 'exact', expected none | combination
<Real max="INF" start="0"/> | <Real/> | variable 'push': has no start value, expected one, as causality is input | start
<Integer/> | <Integer start="1"/> | variable 'count': has a start value, expected none, as initial is calculated | start
start="5" | start="-5" | variable 'height': start is -5, expected at least min, 0 | start
start="5" | start="9.5" | variable 'height': start is 9.5, expected at most max, 9 | start
start="2" | start="3" | variable 'gear': start is 3, expected the value of an Item | start
"edge" valueReference="6" | "edge" valueReference="3" | has the value reference of 'push', expected both to be constant | alias
"push" valueReference="3" | "push" valueReference="2" | and the unit '', expected 'm/s' | alias
"kept" valueReference="7" variability="discrete" | "kept" valueReference="7" variability="constant" | expected both to be constant | alias
"5" causality=".*"><Integer/> | "4" variability="constant"><Integer start="2"/> | value reference of 'gear', expected both | alias | initial-unknowns
<Boolean/> | <Boolean start="0"/> | which has a start value: expected it at only one | alias | start
derivative=" 2" | derivative="10" | derivative is '10', expected the index of a variable, 1 to 9 | derivative | dependencies
max="INF" | reinit="true" | variable 'push': reinit is true | derivative
<Unknown index="8"/></Out | </Out | variable 'held': is missing in Outputs, expected it there, as causality is output | outputs
<Unknown index="8"/></Out | <Unknown index="9"/><Unknown index="8"/></Out | Outputs, Unknown 9: 'kept' is listed, expected only | outputs
<Unknown index="8"/></Out | <Unknown index="8"/><Unknown index="8"/></Out | Unknown 8: 'held' is listed a second time | outputs
<Unknown index="8"/></Out | <Unknown index="8"/><Unknown index="0"/></Out | Unknown 0: expected the index of a variable | outputs
<Unknown index="3"/></Der | <Unknown index="2"/></Der | 'height' is listed, expected only variables with the attribute derivative | derivatives
<Unknown index="6"/> | - | variable 'count': is missing in InitialUnknowns, expected it there, as initial is calculated | initial-unknowns
<Unknown index="6"/> | <Unknown index="6"/><Unknown index="7"/> | Unknown 7: 'edge' is listed | initial-unknowns
<Unknown index="6"/><Unknown index="8"/> | <Unknown index="8"/><Unknown index="6"/> | Unknown 6: comes behind 8 | initial-unknowns
"2 4" dependenciesKind="dependent fixed" | "4 2" | Outputs, Unknown 3: depends on 2 behind 4 | dependencies
"2 4"/ | "2 2"/ | InitialUnknowns, Unknown 3: depends on 2 behind 2 | dependencies
"2 4" dependenciesKind | "2 7" dependenciesKind | depends on 'edge', expected inputs, continuous states | dependencies
dependencies="2 4"/ | dependencies="2 6"/ | InitialUnknowns, Unknown 3: depends on 'count', expected inputs, variables whose | dependencies
"dependent fixed" | "dependent" | has 1 dependenciesKind, expected one for each of the 2 | dependencies
"2 4" dependenciesKind | "2 40" dependenciesKind | depends on the index 40 | dependencies
<Unknown index="8"/></Out | <Unknown index="8" dependencies="4" dependenciesKind="fixed"/></Out | 'held' is no Real | dependencies
""".strip().splitlines()]


class Checked(Case):
    def findings(self, xml, code):
        self.archive(("modelDescription.xml", xml), ("binaries/linux64/good.so", ""), ("sources/a.c", ""))
        out, err = self.zelvox("info", "--check", "new.fmu", code=code)
        return out.splitlines(), err

    def test_each_fault_is_found_once_and_nothing_else(self):
        self.assertEqual(self.findings(GOOD, 0)[0], ["new.fmu: no problem found by 20 checks of 9 variables"])
        for fmu in (motor(), odd()):
            self.assertIn("no problem found", self.zelvox("info", "--check", fmu)[0])
        for name in ("_a1.b[1,23].c", "der(a.'b c\\''[4].d,2)"):
            self.findings(GOOD.replace("push", name), 0)
        for name in ("''", "a[1", "a[]", "a[1,]", "der(a.1)", "1a", "a b"):
            self.assertIn("a name that is not structured", self.findings(GOOD.replace("push", name), 1)[0][0])
        self.archive(("modelDescription.xml", GOOD.replace("a.c", "")), ("binaries/riscv/good.so", ""))
        self.assertIn("no problem found", self.zelvox("info", "--check", "new.fmu")[0])
        for old, new, sentence, *checks in WRONG:
            with self.subTest(old=old, new=new):
                xml = re.sub(old, new.strip("-"), GOOD, count=1)
                out, err = self.findings(xml, 1)
                self.assertEqual(sorted(re.search(r"\[([a-z-]+)\]$", line)[1] for line in out), sorted(checks))
                self.assertTrue(any(re.search(f"{sentence}.* \\[{checks[0]}\\]$", line) for line in out), out)
                self.assertRegex(err, f"new.fmu: {len(out)} problems? found by 20 checks of 9 variables")


    def test_each_cell_of_causality_variability_and_initial(self):
        letters = {"A": ["exact"], "B": ["calculated", "approx"], "C": ["calculated", "exact", "approx"], "D": [], "E": []}
        causalities = ("parameter", "calculatedParameter", "input", "output", "local", "independent")
        table = {"constant": "---AA-", "fixed": "AB--B-", "tunable": "AB--B-", "discrete": "--DCC-", "continuous": "--DCCE"}
        expected, variables = set(), ""
        for cell in itertools.product(causalities, table, ("", "exact", "approx", "calculated"), ("", 'start="1"')):
            causality, variability, initial, start = cell
            allowed = letters.get(table[variability][causalities.index(causality)])
            if allowed is None or initial and initial not in allowed:
                expected.add((*cell, "combination"))
            meant = initial or (allowed or [""])[0]
            needs, bars = causality == "input" or meant in ("exact", "approx"), causality == "independent" or meant == "calculated"
            if bars and not needs if start else needs:
                expected.add((*cell, "start"))
            said = f'initial="{initial}"' if initial else ""
            variables += VARIABLE % (" ".join(cell).replace('"', ""), 1, f'causality="{causality}" variability="{variability}" {said}', f"<Real {start}/>")
        out = self.findings(re.sub("(?s)(<ModelVariables>).*(</ModelVariables>)", rf"\1{variables}\2", GOOD), 1)[0]
        found = re.findall(r"(?m)variable '(\w+) (\w+) (\w*) (.*)': (?:causality|initial|has a start|has no start).* \[(combination|start)\]$", "\n".join(out))
        self.assertEqual({(*cell[:3], cell[3].replace("1", '"1"'), cell[4]) for cell in found}, expected)

    def test_each_alias_may_be_the_one_with_the_start_value(self):
        def alias(name, start):
            return f'<ScalarVariable name="{name}" valueReference="7" variability="discrete" initial="{"exact" if start else "calculated"}"><Boolean{start}/></ScalarVariable>'
        for starts, wrong in (("--s", []), ("-s-s", ["d"]), ("s--s", ["d"]), ("ss-", ["b"]), ("---", [])):
            others = "".join(alias(name, ' start="1"' if start == "s" else "") for name, start in zip("abcd", starts))
            xml = re.sub(r'<ScalarVariable name="kept".*', others, GOOD)
            out = self.findings(xml, int(bool(wrong)))[0]
            self.assertEqual([re.search("variable '(.)'", line)[1] for line in out if "[alias]" in line], wrong)

@unittest.skipUnless("MAN_PAGES" in os.environ, "help2man is not installed")
class Manual(Case):
    def test_each_command_has_a_page_with_its_options_and_examples(self):
        self.finish(self.start(f"-DCMAKE_INSTALL_PREFIX={self.home}", "-P", os.environ["MAN_PAGES"],
                               program=os.environ["CMAKE"]))
        commands = re.findall(r"(?m)^  ([a-z]+) +[A-Z]", self.zelvox("--help")[0].split("Commands:")[1])
        self.assertIn("simulate", commands)
        for command in commands:
            page = (self.home / f"share/man/man1/zelvox-{command}.1").read_text().replace("\\", "")
            self.assertIn(f"\n.SH NAME\nzelvox-{command} - ", page)
            self.assertIn(".BR zelvox (1)", page)
            lines = self.zelvox(command, "--help")[0].splitlines()
            for option in (line.split()[0] for line in lines if line.startswith("      --")):
                self.assertIn(f"\nfB{option}fR", page)
            for example in (line.strip() for line in lines if line.startswith("  zelvox ")):
                self.assertRegex(page, rf"\.nf\n([^.].*\n)*{re.escape(example)}\n")


if __name__ == "__main__":
    unittest.main()
