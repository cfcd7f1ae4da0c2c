"""`zelvox exec` with programs that start threads, run other programs or cannot have a JVM at all, and
what `zelvox doctor` does with a JVM that hangs. CMakeLists.txt runs each class as one test."""

import os
import shutil
import signal
import sys
import unittest
from pathlib import Path

from case import SANITIZERS, ZELVOX, Case, Importer, motor

THREADS, STATIC, WAITING, HANGING_JVM = (
    os.environ["TEST_" + name] for name in ("THREADS", "STATIC", "WAITING", "HANGING_JVM"))
PROBE = ("--class-path", os.environ["PROBE_JAR"])
CHECKED = ("--jvm-option", "-Xcheck:jni")
FORKED = ('zelvox: this process was forked from one with a JVM and cannot use it; start workers as new programs, in '
          'Python with multiprocessing.get_context("spawn"), each by zelvox.start_jvm or all by zelvox exec --follow')


class Threads(Importer):
    # What the cases of threads.c print when threads are attached, and when they are not. Then a thread that is
    # about to end cannot be kept out of a JVM that is being destroyed.
    CASES = {
        "plain": ("dd", "--"),
        "stacks": ("--dd-", "-----"), "ends": ("pxdd cxdd", "px-- cx--"), "cancels": ("cr", "cr"), "many": ("0", "0"),
        "inherits": ("i", "i"), "byThemselves": ("-a0", "-a1"), "forks": ("ff", "ff"), "loads": ("l", "l"),
        "java": ("11", "11"), "destroysEnding": ("0--", None), "destroysStarting": ("0--", None), "leaves": ("\nd", "\n-")}

    def prints(self, expected, case, *options, preloads=SANITIZERS, code=0, said=""):
        with self.subTest(case, options=options, preloads=preloads):
            self.assertEqual(
                self.zelvox("exec", *PROBE, *options, "--", THREADS, case, code=code,
                            env={"WAITING": WAITING, "LD_PRELOAD": preloads}),
                (expected, said))

    def test_each_thread_is_attached_for_its_life_and_nothing_else_changes(self):
        for case, (attached, unattached) in self.CASES.items():
            # Behind AddressSanitizer, which does not know of thrd_create.
            expected = attached if not SANITIZERS else "-d" if case == "plain" else unattached
            for letters, option in ((expected, CHECKED), (unattached, ("--main-thread-only",))):
                if letters is not None:
                    self.prints(letters + "\n", case, *option)

    def test_thread_behind_the_wrapper_of_another_preload_is_left_alone(self):
        for case, expected in (("plain", "-d\n"), ("java", "11\n")):  # AddressSanitizer starts them by a routine of its own
            self.prints(expected, case, preloads=os.environ["RUNTIMES"])

    def test_forked_child_is_told_that_the_jvm_is_out_of_reach(self):
        for option in (CHECKED, ("--main-thread-only",)):
            self.prints("-21-10-1 0\n", "asks", *option, said=FORKED + "\n")

    def test_java_that_ends_the_process_is_no_success(self):
        self.prints("", "exit", code=1, said="zelvox: Java code ended the process with exit code 0\n")


class Programs(Importer):
    def test_descriptors_of_the_jvm_are_closed_in_children(self):
        lines = self.python("""
import subprocess
motor = Instance(MOTOR, 'motor', URI)
motor.step(0.001)
links = [os.readlink(link.path) for link in os.scandir('/proc/self/fd') if os.path.lexists(link.path)]
print(*sorted({'modules', 'zelvox.jar'} & set(map(os.path.basename, links))))
print(subprocess.run(['ls', '-l', '/proc/self/fd'], close_fds=False, stdout=subprocess.PIPE, text=True).stdout)""")
        self.assertEqual(lines[0], "modules zelvox.jar")
        self.assertNotRegex("\n".join(lines[1:]), "modules|jar|socket")

    @unittest.skipIf(SANITIZERS, "they stand between the JVM and the descriptors")
    def test_crash_is_reported_on_stderr_and_leaves_no_file(self):
        before = os.listdir(self.home)
        with open(self.home / "tmp/err", "w+") as err:
            process = self.start("exec", "--", sys.executable, "-c", "import ctypes, os; os.write(1, b'out')\n"
                                 "os.write(2, b'said before\\n'); ctypes.string_at(0)", stderr=err)
            out = process.communicate(timeout=300)[0]
            err.seek(0)
            self.assertRegex(err.read(), r"(?s)\Asaid before\n.* SIGSEGV .*\nNative frames: .*\nEND\.\n")
        self.assertEqual((process.returncode, out, os.listdir(self.home)), (-signal.SIGABRT, "out", before))

    def test_program_that_brings_a_jvm_has_that_one(self):
        out, err = self.zelvox("exec", "--", "javac", "-version")
        self.assertRegex(out + err, r"\Ajavac [^\n]+\n\Z")
        self.zelvox("exec", "--", ZELVOX, "simulate", motor(), "--output-file", "out.csv")
        options = "import os; print('inner.jar' in ''.join(open('/proc/self/environ')), os.environ.get('LD_PRELOAD'))"
        self.assertEqual(self.zelvox("exec", "--class-path", "outer.jar", "--", "env", ZELVOX, "exec", "--class-path",
                                     "inner.jar", "--", sys.executable, "-c", options)[0], f"True {SANITIZERS}\n")

    def test_variable_that_stands_twice_is_taken_out_twice(self):
        self.assertEqual(self.zelvox("-c", f"""
import os, sys
class Twice(dict):
    def __len__(self): return super().__len__() + 1
    def keys(self): return [*super().keys(), 'ZELVOX_JVM_LIBRARY']
    def values(self): return [*super().values(), 'again']
show = "import os; print([name for name in os.environ if 'ZELVOX' in name])"
os.execve({ZELVOX!r}, ['zelvox', 'exec', '--', sys.executable, '-c', show], Twice(os.environ, ZELVOX_JVM_LIBRARY='once'))
""", program=sys.executable)[0], "[]\n")

    def test_program_that_takes_no_preloads_is_named_and_its_children_get_nothing_of_ours(self):
        def says(reason, *command, program=STATIC, options=(), runs=True, out="none\n", **env):
            with self.subTest(command=command):
                process = self.start("exec", *options, "--", *command, env=env)
                found, err = process.communicate(timeout=300)
                hint = f"zelvox exec: {program} {reason}( .musl.)? and runs without a JVM\n" if reason else ""
                self.assertRegex(err, rf"\A{hint}" + (r"\Z" if runs else ""))
                if runs:
                    self.assertRegex(found, rf"\A{out}\Z")

        static = "is statically linked"
        name, directory = os.path.basename(STATIC), os.path.dirname(STATIC)
        os.chmod(self.home / self.write("script", f"#! {STATIC} x\n"), 0o755)
        self.write(name, "not executable")
        search = f"{self.home}:{directory}:{os.environ['PATH']}"
        says(static, STATIC)
        says(static, "./script", program="./script")
        says(static, name, program=name, PATH=search)
        says("", STATIC, options=("--follow",), out="[^$]*ZELVOX_JVM_LIBRARY[^$]*")
        says(static, "env", name, program=name, PATH=search)
        for call in ("os.execv(P, [P])", "os.execve(os.open(P, os.O_RDONLY), [P], os.environ)"):
            says(static, sys.executable, "-c", f"import os; P = {STATIC!r}; {call}")
        says("", sys.executable, "-c", f"import subprocess; subprocess.run({STATIC!r})")
        says("", "bash", "-c", f"{STATIC}; true")  # which has a getenv of its own
        says("", "/lib64/ld-linux-x86-64.so.2", os.path.realpath(sys.executable), "-c", "print('none')")

        program = Path(THREADS).read_bytes()
        for change, reason in (
                ((b"/lib64/ld-linux-x86-64.so.2", b"/lib/ld-musl-x86_64.so.1\0\0\0"), "is built for another C library"),
                ((b"\x7fELF\2", b"\x7fELF\1"), "is built for another machine")):
            os.chmod(self.home / self.write("changed", program.replace(*change, 1)), 0o755)
            says(reason, "./changed", program="./changed", runs=False)
        if os.geteuid() == 0:
            shutil.copy(THREADS, self.home / "changed")
            os.chown(self.home / "changed", 1, 1)
            os.chmod(self.home / "changed", 0o4755)
            says("changes the user or group .setuid.", "./changed", program="./changed", runs=False)


class Doctor(Case):
    def test_jvm_that_hangs_is_given_up(self):
        (self.home / "jdk/lib/server").mkdir(parents=True)
        shutil.copy(HANGING_JVM, self.home / "jdk/lib/server/libjvm.so")
        out = self.zelvox("doctor", code=1, env={"JAVA_HOME": self.home / "jdk"})[0]
        self.assertRegex(out, r"FAILED  JVM starts +gave no answer within \d+ s; .*\n-       ZelvoxSim")


if __name__ == "__main__":
    unittest.main()
