"""What the command line writes: whole, exact, never over its inputs, and never silently something else.
CMakeLists.txt runs each class as one test."""

import os
import re
import signal
import stat
import subprocess
import unittest
import zipfile

from case import GNUPLOT, LIBRARY, MOTOR_JAR, OUTPUT, STUB, VARIABLE, XML, Case, motor, odd, small_disk

LONG = ("--stop-time=0.5", "--output-interval=1e-5")  # 50001 rows of the motor, some megabytes


class Overwriting(Case):
    def test_no_input_is_written_by_whatever_name_and_before_anything_else_is_wrong(self):
        for name in ("a.fmu", "a.csv", "a.jar"):
            self.write(name, "nothing that could be read")
        os.link(self.home / "a.csv", self.home / "hard.csv")
        (self.home / "soft.csv").symlink_to("tmp/../a.csv")
        (self.home / "dangling.svg").symlink_to("new.svg")
        def state():
            return {path: (path.lstat().st_ino, path.lstat().st_mtime_ns) for path in self.home.iterdir() if path.name != "tmp"}
        before = state()
        simulate, pack = ("simulate", "a.fmu"), ("pack", "--jar", "a.jar")
        for place, *line in (
                ("the FMU", *simulate, "--output-file=a.fmu"), ("the FMU", *simulate, "--output-file", self.home / "a.fmu"),
                *(("--input-file", *simulate, "--input-file", read, "--output-file", written)
                  for read in ("a.csv", "soft.csv", "hard.csv") for written in ("a.csv", "soft.csv", "tmp/../hard.csv")),
                ("the FMU", *simulate, "--log-file=a.fmu"), ("--plot-file", *simulate, "--plot-file=new.svg", "--log-file=new.svg"),
                ("--class-path", *simulate, "--class-path=a.jar", "--output-file=a.jar"),
                *(("--output-file", *simulate, f"--output-file={table}", "--plot-file=new.svg")
                  for table in ("new.svg", "tmp/../new.svg", "dangling.svg")),
                ("--jar", *pack, "-o", "a.jar"), ("--jar", "pack", "--jar", "a.csv", *pack[1:], "-o", "soft.csv")):
            self.refuses(f"would overwrite {place} ", *line, code=2)
        self.assertEqual(state(), before)
        self.zelvox("simulate", odd(), "--class-path=/dev/null", "--output-file=/dev/null")


class Whole(Case):
    def test_links_stay_and_what_they_lead_to_keeps_its_owner_and_permissions(self):
        (self.home / "there").mkdir()
        for link, target in (("table", "there/old"), ("fmu", "there/dangling"), ("chain", "table")):
            (self.home / link).symlink_to(target)
        self.write("there/old", "old")
        os.chmod(self.home / "there/old", 0o604)
        owner = (0, 0) if os.geteuid() else (1234, 4321)
        if not os.geteuid():
            os.chown(self.home / "there/old", *owner)
        umask = {"preexec_fn": lambda: os.umask(0o027)}
        self.zelvox("simulate", odd(), "--output-file=chain", **umask)
        self.assertIn("fmu will be an FMU, and tools expect a name that ends with .fmu", self.zelvox("pack", "--jar", MOTOR_JAR, "-o", "fmu", **umask)[1])
        self.assertEqual({path.name: path.is_symlink() for path in self.home.iterdir()},
                         {"table": True, "fmu": True, "chain": True, "there": False, "tmp": False})
        old, new = ((self.home / "there" / name).stat() for name in ("old", "dangling"))
        self.assertEqual((oct(old.st_mode), oct(new.st_mode)), ("0o100604", "0o100640"))
        if not os.geteuid():
            self.assertEqual((old.st_uid, old.st_gid), owner)
        self.assertTrue((self.home / "table").read_text().startswith('"time"'))
        self.assertTrue(zipfile.is_zipfile(self.home / "fmu"))
        (self.home / "round").symlink_to("round")
        self.refuses("round cannot be written: Too many levels", "simulate", odd(), "--output-file=round")

    def test_run_that_is_refused_before_its_first_step_leaves_what_was_there(self):
        results = ("--output-file=out.csv", *(("--plot-file=out.svg",) if GNUPLOT else ()))
        for file in ("out.csv", "out.svg"):
            self.write(file, "old")
        for reason, line in (
                ("sleep .* cannot be -1", (odd(), "--start-value=sleep=-1")), ("'länger 🐦' is nan", (odd(), "--fail-on-nan")),
                ("heap", (odd(), "--jvm-option=-Xmx1x")), ("no file", ("none.fmu",)), ("behind", (odd(), "--stop-time=-1"))):
            self.refuses(reason, "simulate", *line, *results, code={"heap": 3, "behind": 2, "no file": 2}.get(reason, 1))
        self.assertEqual({path.name: path.is_file() and path.read_text() for path in self.home.iterdir()},
                         {"out.csv": "old", "out.svg": "old", "tmp": False})

    def test_two_runs_at_once_leave_the_whole_result_of_one(self):
        tables = []
        for voltage in (1, 2):
            self.simulated(motor(), *LONG, "--start-value", f"voltage={voltage}")
            tables.append((self.home / "out.csv").read_bytes())
        runs = [self.start("simulate", motor(), *LONG, f"--start-value=voltage={voltage}", "--output-file=out.csv")
                for voltage in (1, 2)]
        for run in runs:
            run.communicate()
        self.assertEqual([run.returncode for run in runs], [0, 0])
        self.assertIn((self.home / "out.csv").read_bytes(), tables)
        self.assertEqual(sorted(os.listdir(self.home)), ["out.csv", "tmp"])

    def test_full_disk_leaves_the_whole_rows_that_fit_and_says_how_far_they_go(self):
        # Larger than the library, which has to fit: with digits, and parameters in each row.
        columns = [f"--output-variable={name}" for name in ("J", "R", "b", "speed", "current", "voltage", "load")]
        err = self.zelvox("simulate", motor(), *LONG, "--start-value=voltage=12", "--output-file=out.csv", *columns, code=1,
                          **small_disk(os.path.getsize(LIBRARY) + 300_000))[1]
        result = self.simulated(motor(), run=False)  # which is strict about cells
        self.assertRegex(err, "out.csv cannot be written: File too large; out.csv has the rows up to t=" + result["time"][-1])
        self.assertEqual([float(time) for time in result["time"]], [i * 1e-5 for i in range(len(result["time"]))])
        self.assertGreater(len(result["time"]), 1000)

    def test_rows_that_cannot_become_the_table_stay_beside_it(self):
        run = self.start("simulate", odd(), "--stop-time=100", "--start-value=sleep=50", "--output-file=out.csv", "--log-fmi-calls")
        next(call for call in run.stderr if "currentCommunicationPoint=1," in call)
        (self.home / "out.csv").mkdir()
        run.send_signal(signal.SIGINT)
        last = self.finish(run, 130)[1].splitlines()[-1]
        part, = self.home.glob("out.csv.part-*")
        self.assertRegex(last, rf": out.csv cannot be replaced: Is a directory; what was to be in it is in {re.escape(str(part))}\Z")
        self.assertIn("\n1,", part.read_text())

    def test_what_is_no_file_is_written_directly(self):
        plain = self.simulated(odd(), "--quiet") and (self.home / "out.csv").read_text()
        os.mkfifo(self.home / "fifo")
        for line in (("simulate", odd(), "--quiet", "--output-file=fifo"), ("pack", "--jar", MOTOR_JAR, "-o", "fifo")):
            run = self.start(*line)
            content = subprocess.run(["timeout", "60", "cat", "fifo"], cwd=self.home, stdout=subprocess.PIPE).stdout
            self.finish(run)
            self.assertTrue(stat.S_ISFIFO((self.home / "fifo").stat().st_mode))
            self.write("fmu" if "pack" in line else "table", content)
        self.assertEqual((self.home / "table").read_text(), plain)
        self.assertIsNone(zipfile.ZipFile(self.home / "fmu").testzip())
        # A link to stdout, as /dev/stdout is one. What stdout leads to keeps what it has.
        (self.home / "stdout").symlink_to("/proc/self/fd/1")
        with open(self.home / "log", "w", encoding="utf-8") as log:
            log.write("before\n")
            log.flush()
            self.zelvox("simulate", odd(), "--output-file=stdout", stdout=log)
        self.assertRegex((self.home / "log").read_text(), r"\Abefore\n(?s:.*) real time\n(?s:.*)\Z")
        self.assertIn("before\n" + plain, (self.home / "log").read_text())


class Exact(Case):
    def test_rows_are_a_whole_number_of_steps_apart(self):
        self.write("in.csv", "time,held\n0,0\n9,9\n")
        out = self.zelvox("simulate", odd(), "--start-time=0", "--stop-time=1", "--step-size=0.1", "--output-interval=0.3",
                          "--input-file=in.csv", "--start-value=gain=1", "--output-file=out.csv")[0]
        self.assertIn("10 steps", out)
        result = {name: [float(cell) for cell in column] for name, column in self.simulated(odd(), run=False).items()}
        self.assertEqual(result["time"], [0, 0.3, 2 * 0.3, 3 * 0.3, 1])
        self.assertEqual(result["step"][1:-1], [0.1] * 3)
        for end, size, held in list(zip(result["time"], result["step"], result["gained"]))[1:]:
            self.assertAlmostEqual(held, end - size, delta=1e-9)  # what was set when the last step began

    def test_input_jumps_at_the_point_that_reaches_it(self):
        for start, interval, jump, first in ((-0.9, 0.3, 0, 3), (0, 0.3, 0.9, 3), (0, 0.1, 0.3, 3), (1.7e9, 0.01, 1.7e9 + 0.05, 5),
                                             (1.7e9, 0.01, 1.7e9 + 0.05 + 1e-5, 6), (0, 0.25, 0, 0), (0, 0.25, 0.5001, 3), (0, 0.25, 0.4999, 2)):
            with self.subTest((start, interval, jump)):
                self.write("in.csv", f"time,held\n{start - 1!r},1\n{jump!r},1\n{jump!r},2\n")
                held = self.simulated(odd(), f"--start-time={start}", f"--stop-time={start + 8 * interval!r}", f"--output-interval={interval}",
                                      "--input-file=in.csv", "--output-variable=held")["held"]
                self.assertEqual(held.index("2"), first)

    def test_endless_grid_warns_before_it_starts(self):
        run = self.start("simulate", odd(), "--stop-time=1e9", "--output-interval=0.5", "--start-value=sleep=20")
        self.assertIn("warning: the run takes 2000000002 steps", run.stderr.readline())
        run.stderr.readline()
        run.send_signal(signal.SIGINT)
        self.assertNotIn("warning", self.finish(run, 130)[1])

    def test_nan_and_infinity_are_said_once_per_variable(self):
        self.write("in.csv", "time,held,gain\n-1,1,1\n0,1e10,1e308\n")
        warnings = ["'länger 🐦' is nan at t=-1", "'gained' is inf at t=0.25"]
        err = self.zelvox("simulate", odd(), "--input-file=in.csv", "--quiet")[1].splitlines()
        self.assertEqual([line.split(" (")[0] for line in err], [f"zelvox: warning: {warning}" for warning in warnings])
        self.refuses("'gained' is inf at t=0.25; out.csv has the rows up to t=0.25", "simulate", odd(), "--input-file=in.csv",
                     "--output-variable=gained", "--output-file=out.csv", "--fail-on-nan")
        result = self.simulated(odd(), run=False)
        self.assertEqual((result["time"][-1], result["gained"][-1]), ("0.25", "inf"))


class Unwritable(Case):
    def test_what_cannot_be_printed_is_a_failure(self):
        for line in (("--help",), ("--version",), ("simulate", "--help"), ("info", motor()), ("info", "--all", odd()), ("doctor",),
                     ("simulate", motor()), ("pack", "--jar", MOTOR_JAR, "-o", "new.fmu")):
            for stdout, options in (("full", {"stdout": open("/dev/full", "w")}), ("closed", {"preexec_fn": lambda: os.close(1)})):
                with self.subTest((line, stdout)):
                    reason = "No space left on device" if stdout == "full" else "Bad file descriptor"
                    known = "" if line[-1] in ("--help", "--version", "doctor") else f": {reason}"
                    self.refuses(f"the standard output cannot be written{known}", *line, **options)
        self.zelvox("simulate", motor(), "--output-file=out.csv", "--quiet", stdout=open("/dev/full", "w"))

    def test_no_file_takes_the_place_of_a_closed_stream(self):
        self.archive(("modelDescription.xml", XML), ("binaries/linux64/stub.so", STUB))  # no JVM takes the place either
        tables = []
        for closed in (lambda: None, lambda: os.close(2)):
            self.zelvox("simulate", "new.fmu", "--output-file=out.csv", "--start-value=mass=0", "--start-value=set=0", "--quiet",
                        preexec_fn=closed, env={"STUB_TRACE": "/dev/null"})
            tables.append((self.home / "out.csv").read_text())
        self.assertEqual(tables[0], tables[1])


@unittest.skipUnless(GNUPLOT, "gnuplot is not installed")
class Drawn(Case):
    def test_picture_that_is_cut_short_or_cannot_be_drawn_leaves_the_old_one(self):
        draw = ("simulate", motor(), "--stop-time=2", "--output-interval=1e-4", "--output-file=out.csv", "--plot-file")
        names = [f"v{i}" for i in range(60)]
        xml = XML.replace("</ModelV", "".join(VARIABLE % (name, 1, OUTPUT, "<Real/>") for name in names) + "</ModelV")
        self.archive(("modelDescription.xml", xml), ("binaries/linux64/stub.so", STUB), name="stub.fmu")
        for picture in ("out.svg", "out.png"):
            self.write(picture, "old")
            for reason, script in (
                    ("cut short, is the disk full", "case $2 in --version) ;; *) trap '' XFSZ; ulimit -f 8;; esac"),
                    ("gnuplot cannot be run", "exit 1"), ("gnuplot gave up: tired", "case $2 in --version) ;; *) echo tired >&2; exit 1;; esac")):
                self.refuses(reason, *draw, picture, "--start-value=voltage=12", "--output-variable=speed", env=self.gnuplot(script))
                self.assertEqual((self.home / picture).read_text(), "old")
            self.refuses("plot.gnuplot cannot be written: File too large", "simulate", "stub.fmu", "--output-interval=1e-4", "--plot-file", picture,
                         *(f"--output-variable={name}" for name in names), env={"STUB_TRACE": "/dev/null"}, **small_disk(len(STUB) + 100_000))
            self.assertEqual((self.home / picture).read_text(), "old")
        self.assertEqual(sorted(path.name for path in self.home.glob("out.*")), ["out.csv", "out.png", "out.svg"])

    def test_settings_of_the_user_stay_out(self):
        self.write(".gnuplot", "set label 'of the user' at screen 0.5, 0.5\n")
        self.zelvox("simulate", odd(), "--plot-file=out.svg", env=self.gnuplot(""))
        picture = (self.home / "out.svg").read_text()
        self.assertEqual(("gained" in picture, "of the user" in picture), (True, False))


if __name__ == "__main__":
    unittest.main()
