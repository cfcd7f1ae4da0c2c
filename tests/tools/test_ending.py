"""How a command ends when it is told to: by which signal, in order or by force, and what stays behind."""

import fcntl
import os
import resource
import signal
import struct
import termios
import time
import unittest
import zipfile
from pathlib import Path

from case import GNUPLOT, LIBRARY, ODD_JAR, OUTPUT, SANITIZERS, VARIABLE, XML, Case, odd

SIGNALS = (signal.SIGINT, signal.SIGTERM, signal.SIGHUP, signal.SIGQUIT, signal.SIGXFSZ)
STICKS = ("--jvm-option=-Dodd=sticks", "--stop-time=1e6", "--output-variable=gained")  # from the step at 0.5 on
SLOW = ("--stop-time=1e6", "--start-value=sleep=20")


def held_up(stream):
    """Waits until the writer of the pipe has to wait for a reader."""
    waiting = 0
    while waiting < 60_000:
        time.sleep(0.01)
        waiting = struct.unpack("i", fcntl.ioctl(stream, termios.FIONREAD, b"    "))[0]


class Ending(Case):
    def ends(self, process, number, reason):
        """The output of a command that was ended by the signal, whose last line says so."""
        out, err = self.finish(process, 128 + number)
        self.assertRegex(err.splitlines()[-1], f"zelvox: ended by {signal.Signals(number).name}{reason}")
        return out, err

    def stepping(self, *arguments, **options):
        """A run, with some steps done."""
        process = self.start("simulate", odd(), *arguments, "--log-fmi-calls", **options)
        next(call for call in process.stderr if "currentCommunicationPoint=0.25," in call)
        return process

    def times(self, table):
        return [float(line.split(",")[0]) for line in (self.home / table).read_text().splitlines()[1:]]

    def test_every_signal_ends_a_run_in_order(self):
        for number in SIGNALS:
            process = self.stepping(*SLOW, "--output-file", "out.csv")
            process.send_signal(number)
            calls = self.ends(process, number, r": the run stopped at t=\S+; the rows so far are in out\.csv")[1]
            self.assertEqual([call.split("(")[0] for call in calls.splitlines()[-3:-1]],
                             ["fmi2Terminate", "fmi2FreeInstance"])
            times = self.times("out.csv")
            self.assertEqual(times, [-1 + 0.25 * i for i in range(len(times))])
            self.assertIn(f" t={times[-1]:g};", calls.splitlines()[-1])

    def test_model_that_hangs_is_left_after_a_word_about_it(self):
        for command, activity in (
                (("pack", "--jar", ODD_JAR, "--model", "Odd", "--jvm-option=-Dodd=hangs", "-o", "{}.fmu"),
                 "the model to describe itself"),
                (("simulate", odd(), *STICKS, "--output-file", "{}"), r"fmi2DoStep at t=0\.5")):
            processes = [self.start(*(str(word).format(f"out{number}") for word in command)) for number in SIGNALS]
            for process, number in zip(processes, SIGNALS):
                self.assertEqual(process.stderr.readline(), "hangs\n")
                process.send_signal(number)
            for process in processes:
                process.wait()
            for process, number in zip(processes, SIGNALS):
                rows = rf"; out{int(number)} has the rows up to t=0\.5$" if command[0] == "simulate" else "$"
                first, last = self.ends(process, number, f" while waiting for {activity}{rows}")[1].splitlines()
                self.assertRegex(first, f"zelvox: {signal.Signals(number).name} came, .* for {activity}$")
        self.assertEqual(sorted(os.listdir(self.home)), sorted(["tmp", *(f"out{number}" for number in map(int, SIGNALS))]))
        for number in SIGNALS:
            self.assertEqual(self.times(f"out{number}"), [-1 + 0.25 * i for i in range(7)])

    def test_file_that_may_not_grow_ends_the_run_with_whole_rows(self):
        def limit():
            resource.setrlimit(resource.RLIMIT_FSIZE, (size, size))
        size = os.stat(LIBRARY).st_size + 100_000
        run = ("simulate", odd(), "--stop-time=1e6", "--output-file", "out.csv", "--quiet")
        self.ends(self.start(*run, preexec_fn=limit), signal.SIGXFSZ, ": .*out.csv.*File too large")
        size = 1000
        self.ends(self.start(*run, preexec_fn=limit), signal.SIGXFSZ, ": .*cannot be unpacked.*File too large")

    def test_ignored_signal_stays_ignored(self):
        process = self.stepping(*SLOW, preexec_fn=lambda: signal.signal(signal.SIGHUP, signal.SIG_IGN))
        process.send_signal(signal.SIGHUP)
        for _ in range(5):
            next(call for call in process.stderr if call.startswith("fmi2DoStep"))
        process.send_signal(signal.SIGTERM)
        self.ends(process, signal.SIGTERM, "")

    def test_nobody_who_reads_keeps_no_command_alive(self):
        process = self.start("simulate", odd(), "--stop-time=1e6", "--log-fmi-calls")
        held_up(process.stderr)
        process.send_signal(signal.SIGTERM)
        process.wait()
        self.finish(process, 128 + signal.SIGTERM)
        variables = "".join(VARIABLE % (f"v{i}", i, OUTPUT, "<Real/>") for i in range(20_000))
        self.archive(("modelDescription.xml", XML.replace("</ModelV", variables + "</ModelV")))
        process = self.start("info", "--all", "new.fmu")
        held_up(process.stdout)
        process.send_signal(signal.SIGHUP)
        process.wait()
        self.ends(process, signal.SIGHUP, " while waiting for somebody to read")

    @unittest.skipUnless(GNUPLOT, "gnuplot is not installed")
    def test_gnuplot_that_hangs_goes_with_the_command(self):
        slow = self.gnuplot('test "$2" = --version && exit\n'
                            "grep SigBlk /proc/self/status >mask; echo $$ >pid.new; mv pid.new pid; exec sleep 600")
        process = self.start("simulate", odd(), "--plot-file=x.svg", env=slow)
        while not (self.home / "pid").exists():
            time.sleep(0.01)
        process.send_signal(signal.SIGTERM)
        self.ends(process, signal.SIGTERM, " while waiting for the picture")
        self.assertEqual((self.home / "mask").read_text().split()[1].strip("0"), "")  # it can be interrupted
        pid = int((self.home / "pid").read_text())
        while os.path.exists(f"/proc/{pid}") and ") Z " not in Path(f"/proc/{pid}/stat").read_text():
            time.sleep(0.01)
        self.assertEqual(sorted(os.listdir(self.home)), ["bin", "mask", "pid", "tmp"])

    def test_signal_is_heard_while_an_archive_is_unpacked(self):
        with zipfile.ZipFile(self.home / "many.fmu", "w") as archive:
            for i in range(90_000):
                archive.writestr(str(i), "")
        for number in (signal.SIGINT, signal.SIGTERM):
            process = self.start("simulate", "many.fmu")
            while not list(self.home.glob("tmp/*/*")):
                time.sleep(0.001)
            process.send_signal(number)
            self.ends(process, number, ": many.fmu was not read to its end$")

    def test_directory_of_a_killed_run_is_swept_and_no_other(self):
        killed, alive = self.stepping(*SLOW), self.stepping(*SLOW)
        theirs = {path.name for path in self.home.glob("tmp/*")}
        killed.kill()
        killed.wait()
        self.assertEqual(len(theirs), 2)
        # Names and modes that are not ours, and a link to what could be.
        for name, mode in (("zelvox-models", 0o700), ("zelvox-abcdef", 0o1777), ("target", 0o1700)):
            (self.home / "tmp" / name).mkdir()
            (self.home / "tmp" / name).chmod(mode)
        (self.home / "tmp/zelvox-linked").symlink_to("target")
        others = {"zelvox-models", "zelvox-abcdef", "target", "zelvox-linked"}
        if os.getuid() == 0:
            (self.home / "tmp/zelvox-theirs").mkdir()
            (self.home / "tmp/zelvox-theirs").chmod(0o1700)
            os.chown(self.home / "tmp/zelvox-theirs", 65534, 65534)
            others.add("zelvox-theirs")
        process = self.start("simulate", odd(), "--quiet", "--output-variable=gained")
        self.assertEqual((process.wait(), process.stderr.read()), (0, ""))
        left = {path.name for path in self.home.glob("tmp/*")} - others
        self.assertEqual(len(left), 1)
        self.assertTrue(left < theirs)
        for name in others:
            path = self.home / "tmp" / name
            path.unlink() if path.is_symlink() else path.rmdir()
        alive.send_signal(signal.SIGTERM)
        self.ends(alive, signal.SIGTERM, "")

    @unittest.skipIf(SANITIZERS, "the sanitizers open pipes for their own checks")
    def test_directory_that_cannot_be_removed_is_named_and_swept_later(self):
        process = self.stepping(*SLOW)
        resource.prlimit(process.pid, resource.RLIMIT_NOFILE, (3, 64))  # nothing can be opened any more
        process.send_signal(signal.SIGTERM)
        err = process.communicate()[1]
        left, = self.home.glob("tmp/*")
        self.assertRegex(err, f"zelvox: {left} cannot be removed: Too many open files\n")
        self.zelvox("simulate", odd())


if __name__ == "__main__":
    unittest.main()
