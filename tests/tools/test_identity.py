"""Which packed models importers can tell apart, and by what."""

import shutil
import unittest
import xml.etree.ElementTree as ElementTree
import zipfile
from pathlib import Path

from case import LIBRARY, MOTOR_JAR, ODD_JAR, ZELVOX, Importer

COMPILED_IN = b"{6F1C2D3A-8B4E-4F70-9A1D-2E5B7C9D0F13}"


class Identity(Importer):
    def identity(self, *arguments, **options):
        """The GUID and the identifier of an FMU, packed with these arguments."""
        self.zelvox("pack", "-o", "new.fmu", "--model=Odd", *arguments, **options)
        with zipfile.ZipFile(self.home / "new.fmu") as archive:
            root = ElementTree.fromstring(archive.read("modelDescription.xml"))
            guid, identifier = root.get("guid"), root.find("CoSimulation").get("modelIdentifier")
            binary = archive.read(f"binaries/linux64/{identifier}.so")
        self.assertRegex(guid, r"\A\{[0-9A-F]{8}-[0-9A-F]{4}-5[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}\}\Z")
        self.assertTrue(binary == Path(LIBRARY).read_bytes().replace(COMPILED_IN, guid.encode()))
        return guid, identifier

    def test_guid_is_the_same_for_the_same_input_and_another_for_any_change(self):
        for name in ("a.jar", "b.jar"):
            shutil.copy(MOTOR_JAR, self.home / name)
        self.archive(("table.csv", "1"), name="c.jar")
        jar = ("--jar", ODD_JAR)
        same = {self.identity(*arguments, env=env)[0] for arguments, env in (
            (jar, {}), (jar, {"SOURCE_DATE_EPOCH": "86400"}), ((*jar, "--jvm-option=-Xmx99m"), {}))}
        self.assertEqual(len(same), 1)
        guids = [self.identity(*jar, *arguments)[0] for arguments in (
            (), ("--jvm-option=-Dname=Other",), ("--jar", "a.jar"), ("--jar", "b.jar"), ("--jar", "c.jar"),
            ("--jar", "a.jar", "--jar", "b.jar"), ("--jar", "b.jar", "--jar", "a.jar"))]
        self.archive(("table.csv", "2"), name="c.jar")
        guids.append(self.identity(*jar, "--jar", "c.jar")[0])
        self.assertEqual(len({*guids, *same}), len(guids))

    def test_binary_insists_on_the_guid_of_its_fmu(self):
        self.assertEqual(self.python(f"""
Instance('odd', 'odd', ODD).free()
for other in ({COMPILED_IN.decode()!r}, Instance(MOTOR, 'motor', URI).guid):
    try:
        Instance('odd', 'odd', ODD, guid=other)
    except RuntimeError as problem:
        print('Wrong GUID ' + other in str(problem))"""), ["True"] * 2)

    def test_library_whose_guid_cannot_be_replaced_is_refused(self):
        for name in ("tools", "java"):
            (self.home / name).mkdir()
        shutil.copy(ZELVOX, self.home / "tools")
        shutil.copy(Path(LIBRARY).with_name("java") / "zelvox.jar", self.home / "java")
        library = Path(LIBRARY).read_bytes()
        for content in (library.replace(COMPILED_IN, b"{" + b"0" * 37), library + COMPILED_IN):
            self.write("zelvox.so", content)
            self.refuses("exactly once", "pack", "--jar", MOTOR_JAR, "-o", "x.fmu",
                         program=self.home / "tools/zelvox")
            self.assertFalse((self.home / "x.fmu").exists())


if __name__ == "__main__":
    unittest.main()
