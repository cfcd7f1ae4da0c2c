"""From Java files, directories and jars to an FMU and to a run, and what `zelvox new` makes."""

import io
import os
import re
import subprocess
import unittest
import zipfile
from pathlib import Path

from case import LIBRARY, MOTOR_JAR, Author, motor

SERVICE = "META-INF/services/com.zelvox.qorbetta.Model"


class Sources(Author):
    def test_every_form_of_a_model_is_packed_simulated_and_shown_alike(self):
        self.classes(**{"data/table.csv": "1", ".git/config": ""})
        self.archive(*((str(file.relative_to(self.home / "classes")), file.read_bytes())
                       for file in (self.home / "classes").rglob("*.class")), name="tank.jar")
        self.zelvox("pack", "Tank.java")
        runs = [self.simulated(*model) for model in (
            ("Tank.fmu",), ("Tank.java",), ("Tank",), ("classes/",), ("tank.jar",), ("tank.jar", "--jar", MOTOR_JAR))]
        self.assertAlmostEqual(float(runs[0]["level"][-1]), 2 * (1 - 2.718281828459045**-6), delta=1e-9)
        self.assertEqual(runs, runs[:1] * len(runs))
        self.assertIn("area of the ground", self.zelvox("info", "Tank.java")[0])
        self.assertEqual(self.zelvox("pack", "--jar", "tank.jar")[0], self.zelvox("pack", "tank.jar")[0])
        jar = self.packed("classes")[0]
        self.assertEqual(sorted(jar), ["com/acme/Tank.class", "data/table.csv"])
        self.assertEqual(int.from_bytes(jar["com/acme/Tank.class"][6:8], "big"), 52)  # runs on Java 8
        # The place and the time of the files do not matter.
        self.assertEqual(*(info.split("GUID")[1].split()[0] for info in (
            self.packed("Tank.java")[1], self.packed(self.write("other/Tank.java", self.tank))[1])))

    def test_models_of_the_pages_run_as_they_are_printed(self):
        models = []
        for page in ("README.md", "docs/models.md"):
            text = Path(__file__).parents[2].joinpath(page).read_text(encoding="utf-8")
            for block in re.findall(r"(?s)```java\n(.*?)```", text):
                models.append(re.search(r"public class (\w+)", block)[1])
                self.write(f"{models[-1]}.java", block)
                result = self.simulated(f"{models[-1]}.java", *["--start-value=inflow=0.4"] * (models[-1] == "Tank"))
                if models[-1] == "Tank":
                    self.assertIn(f"  level      {float(result['level'][-1]):.8g}  m\n", text)
        self.assertEqual(models, ["Tank", "Tank", "Chain"])

    def test_several_files_and_libraries_are_compiled_together(self):
        pump = "package com.%s;\npublic class Pump { public static double rate() { return 0.4; } }\n"
        self.write("lib/Pump.java", pump % "lib")
        self.zelvox("pack", "lib", "Tank.java", "-o", "lib.fmu")
        with zipfile.ZipFile(self.home / "lib.fmu") as fmu:
            self.write("lib.jar", fmu.read("resources/model.jar"))
        self.write("src/com/acme/Pump.java", pump % "acme")
        self.write("src/module-info.java", "module tank {}")
        for package, *arguments in (
                ("acme", "src"), ("acme", "src/com/acme/Pump.java", "src/com/acme/Tank.java"),
                ("lib", "src/com/acme/Tank.java", "lib.jar", "--model=com.acme.Tank"), ("lib", "src", "--jar", "lib.jar")):
            self.changed_source("inflow = 0.4", f"inflow = com.{package}.Pump.rate()",
                                name="src/com/acme/Tank.java")
            self.assertEqual(self.simulated(*arguments)["level"][-1][:6], "1.9950")
        self.classes("src", "--jar", "lib.jar")
        self.refuses("needs the class com.lib.Pump, .* --jar", "pack", "classes")

    def test_compiler_speaks_as_javac_does(self):
        self.changed_source("= 0.1;", '= 0.1 + "\u202e\x1b[2J"; int ü = "";', name="Bad.java")
        self.changed_source("double end", "var end")
        self.write("New.java", "public class New extends FieldModel { interface I { private void f() {} } }")
        latest = subprocess.run([Path(os.environ["JAVA_HOME"], "bin/java"), "-XshowSettings:properties", "-version"],
                                capture_output=True, text=True).stderr.split("java.specification.version = ")[1].split()[0]
        jar = Path(LIBRARY).with_name("java") / "zelvox.jar"
        for command, file, release, hint in (("pack", "Bad.java", "", ""), ("simulate", "Tank.java", "", f"; it does for Java {latest}, so say --release {latest}"),
                ("info", "New.java", "", f"; for what it needs of a newer one, say --release {latest}; New.java lacks the line "
                 "import com.zelvox.qorbetta.*;"), ("info", "Tank.java", "9", "")):
            options, release = ("--release", release)[:2 * len(release)], release or "8"
            javac = subprocess.run(
                [Path(os.environ["JAVA_HOME"], "bin/javac"), "--release", release, "-Xlint:-options", "-encoding",
                 "UTF-8", "-cp", jar, "-d", self.home, file], cwd=self.home, capture_output=True, encoding="utf-8",
                env={"LC_ALL": "C.UTF-8"}).stderr
            said, last = self.zelvox(command, file, *options, code=1)[1].split("zelvox: ")
            self.assertEqual(said, javac.replace("\u202e", " ").replace("\x1b", " "))
            self.assertEqual(last, f"the model does not compile for Java {release}{hint}\n")
        self.assertEqual(sorted(os.listdir(self.home)), ["Bad.java", "New.java", "Tank", "Tank.java", "tmp"])
        self.refuses("release version 99 not supported", "pack", "Tank.java", "--release=99")
        for modules in ("java.base", "java.compiler"):
            self.refuses("has no compiler; install default-jdk", "pack", "Tank.java",
                         f"--jvm-option=--limit-modules={modules}")
        self.write("Tank.java", self.tank.replace("height", "h\xf6he").encode("latin-1"))
        self.refuses("Tank.java is not written in UTF-8, line 15; ", "pack", "Tank.java")
        self.refuses("Java cannot open Tänk.java, a name that .* LC_ALL=C.UTF-8", "pack", self.changed_source(
            "Tank", "Tänk", name="Tänk.java"), env={"LC_ALL": "C"})

    def test_author_hears_of_variables_that_are_none_and_of_units_that_are_not_defined(self):
        pump = "public static class Pump { @Input double speed; }\n"
        fields = ("Pump[] pumps = {new Pump()}; List<Pump> same = Arrays.asList(pumps);"
                  "transient List<Pump> left = Arrays.asList(new Pump()); List<Double> numbers = Arrays.asList(1.0);"
                  "List<?>[] lists = {Arrays.asList(new Pump())}; Object one = Optional.of(new Pump());"
                  "Map<?, ?> map = Collections.singletonMap(1, Arrays.asList(new Pump())); protected void setUp() { }")
        self.write("Tank.java", "import java.util.*;" + self.tank.replace("package com.acme;", "")
                   .replace('@UnitDefinition(name = "m2", m = 2)', "").replace("    @Input", pump + fields + "    @Input"))
        for command in "pack", "simulate", "info":
            out, err = self.zelvox(command, "Tank.java")
            self.assertEqual(re.findall(r"warning: ([\w.()]+ (?:holds|is not called|unit 'm2' of area))", err),
                             ["Tank.lists holds", "Tank.map holds", "Tank.one holds", "Tank.setUp() is not called",
                              "the unit 'm2' of area"], err)

    def test_class_of_a_library_that_is_not_there_is_named(self):
        for field, code, said in (
                ("Object part = new Part();", 0, "com.acme.Tank$Part cannot be looked into for variables"),
                ("Gone part;", 1, "the model com.acme.Tank cannot be described")):
            self.changed_source("    @Override", field + "static class Gone {} static class Base { Gone gone; }"
                                "static class Part extends Base {}\n@Override")
            self.classes()
            (self.home / "classes/com/acme/Tank$Gone.class").unlink()
            self.assertIn(said + ": it needs the class com.acme.Tank$Gone, which is in none of the jars",
                          self.zelvox("pack", "classes", code=code)[1])

    def test_model_is_the_named_one_or_the_only_one(self):
        self.write("two/Tank.java", self.tank)
        self.write("two/Pond.java", self.tank.replace("Tank", "Pond"))
        both = "2 models; choose one with --model: com.acme.Pond, com.acme.Tank"
        self.refuses(both, "pack", "two")
        self.assertIn("x.fmu: Pond (com.acme.Pond)", self.zelvox("pack", "two", "-o", "x.fmu", "--model=com.acme.Pond")[0])
        with zipfile.ZipFile(self.home / "x.fmu") as fmu:
            zipfile.ZipFile(io.BytesIO(fmu.read("resources/model.jar"))).extractall(self.home / "named")
        for text, found in (("com.acme.Tank # this one\n", "com.acme.Tank"), ("\ufeffcom.acme.Pond\n", "com.acme.Pond"),
                            ("com.acme.Tank\n#\n\ncom.acme.Pond", SERVICE + ".* " + both),
                            ("com.acme.Tnk", "Tnk, and there is no such class; the models in .*: com.acme.Pond, com")):
            self.write(f"named/{SERVICE}", text)
            if found.startswith("com"):
                self.assertIn(found, self.zelvox("pack", "named")[0])
            else:
                self.refuses(found, "pack", "named")
        self.refuses("--model names Tank, and .* com.acme.Tank", "pack", "named", "--model=Tank")
        self.refuses("java.lang.String is no model.*; the models in", "pack", "named", "--model=java.lang.String")
        # A library may have models of its own.
        self.assertIn("com.acme.Tank", self.zelvox("pack", "Tank.java", "--jar", MOTOR_JAR)[0])

    def test_class_that_cannot_be_the_model_says_why(self):
        for change, reason in (
                (("public class", "class"), 'com.acme.Tank is not public, expected "public class Tank"'),
                (("public class", "public abstract class"), "com.acme.Tank is abstract"),
                (("    @Override", "public Tank(int i) {}\n@Override"), "no public constructor"),
                (("public class Tank extends FieldModel {", "public class Tank { abstract static class T extends FieldModel {"),
                 r"no model in Tank.java, .* implements com.zelvox.qorbetta.Model: com.acme.Tank\$T is abstract"),
                (("    @Override", "{ if (1 > 0) throw new Error(\"no luck\"); }\n@Override"),
                 "Tank cannot be constructed: no luck")):
            self.refuses(reason, "pack", self.changed_source(*change))
        self.write("Tank.java", self.tank)
        name = "com/acme/Tank.class"
        content = self.packed("Tank.java")[0][name]
        self.write(f"newer/{name}", content[:6] + (44 + 99).to_bytes(2, "big") + content[8:])
        self.refuses(r"compiled for Java 99, and the JVM in .* is Java \d+; compile it with --release", "pack", "newer")
        self.write("wrong/Tank.class", content)
        self.write(f"wrong/META-INF/versions/9/{name}", content)  # where nobody looks for the model
        self.refuses("lies in Tank.class, expected com/acme/Tank.class", "pack", "wrong")
        self.classes()
        self.zelvox("pack", "classes", "-o", "tank.fmu")
        hidden = "com.acme.Tank comes from the JVM's class path.* leave it out of "
        self.refuses(hidden + "the class path", "simulate", "tank.fmu", "--class-path=classes")
        self.refuses(hidden + "--class-path", "simulate", "classes", "--class-path=classes")

    def test_nothing_overwrites_a_file_of_the_model(self):
        self.write("Tank/data.txt", "")
        self.archive(name="tank.jar")
        (self.home / "Tank.fmu").symlink_to("tank.jar")  # the file that is not named
        for target, *line in (("Tank/data.txt", "pack", "Tank", "-o"), ("Tank.java", "simulate", "Tank.java", "--output-file"),
                              ("Tank/Tank.java", "simulate", "Tank", "--output-file")):
            self.refuses("would overwrite the model ", *line, target, code=2)
        self.refuses("the FMU .*would overwrite --jar tank.jar", "pack", "Tank.java", "--jar", "tank.jar", code=2)
        self.assertEqual([(self.home / file).read_text() for file in ("Tank/Tank.java", "Tank.java")], [self.tank] * 2)

    def test_what_is_no_model_is_a_usage_error(self):
        self.write("empty/notes.txt", "")
        self.write("Tank.class", "")
        for reason, *line in (
                ("empty holds no model", "pack", "empty"), ("Tank.class is no part of a model", "pack", "Tank.class"),
                ("motor.fmu is no part", "pack", motor()), ("expected one FMU", "simulate", motor(), "Tank.java"),
                ("is taken for an FMU", "info", motor(), "--model=X"),
                ("--jar empty: expected a jar", "pack", "Tank.java", "--jar", "empty"),
                ("--jar Tank.java: expected a jar", "pack", "--jar", "Tank.java"), ("none.java", "pack", "none.java")):
            self.refuses(reason, *line, code=2)


class New(Author):
    def test_directory_is_new_and_its_model_runs(self):
        self.assertEqual(sorted(os.listdir(self.home / "Tank")), ["README.md", "Tank.java"])
        self.write("Tank/Tank.java", "mine")
        self.refuses("Tank is there already", "new", "org.Tank")
        self.assertEqual((self.home / "Tank/Tank.java").read_text(), "mine")
        for name in ("a.class.B", "a..B", "a.", ".B", "3d", "Input", "a/B", "x y", "java.lang.B"):
            self.refuses("cannot be the class", "new", name, code=2)
        if not any(Path(place, "share/maven-repo/com/zelvox").exists() for place in ("/usr", "/usr/local")):
            self.refuses("Maven .* install the Debian package", "new", "Pond", "--maven")


if __name__ == "__main__":
    unittest.main()
