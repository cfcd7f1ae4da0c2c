# Runs the packed motor in importers that know nothing of Java and compares with `zelvox simulate`.
#
#     importers.py CASE FMU ZELVOX JAR REFERENCE
#
# CASE is validation, fmpy-jpype, fmpy-exec, libcosim-jpype or libcosim-exec. REFERENCE is the result of
# `zelvox simulate` with the same inputs: voltage 12 V and load 0.01 N.m from the start, 1 ms steps.

import csv
import os
import subprocess
import sys
import tempfile

START_VALUES = {"voltage": 12.0, "load": 0.01}
STEP = 1e-3


def read(path):
    with open(path, newline="") as file:
        header, *rows = csv.reader(file)
    columns = dict(zip(header, zip(*(map(float, row) for row in rows))))
    return columns["time"], columns["speed"], columns["current"]


def compare(result, reference):
    for name, ours, theirs in zip(("time", "speed", "current"), reference, result):
        assert len(theirs) == len(ours), f"{name}: {len(theirs)} points, expected {len(ours)}"
        scale = max(map(abs, ours))
        worst = max(abs(a - b) for a, b in zip(ours, theirs))
        print(f"{name}: {len(ours)} points, largest difference {worst:.1e} of {scale:.6g}")
        assert worst <= 1e-9 * scale, name


def start_jvm(jar):
    import jpype

    # Class path at the start of the JVM: a class path added later is unknown to native threads.
    jpype.startJVM("-Xss8m", classpath=[jar])


def validation(fmu):
    from fmpy.validation import validate_fmu

    problems = validate_fmu(fmu)
    assert problems == [], problems
    print("no problem found")


def fmpy_jpype(fmu):
    from fmpy import simulate_fmu

    result = simulate_fmu(fmu, stop_time=0.5, output_interval=STEP, start_values=START_VALUES,
                          output=["speed", "current"])
    return result["time"], result["speed"], result["current"]


def fmpy_exec(fmu, zelvox):
    with tempfile.TemporaryDirectory() as directory:
        output = os.path.join(directory, "out.csv")
        values = [str(word) for pair in START_VALUES.items() for word in pair]
        command = [sys.executable, "-m", "fmpy", "simulate", fmu, "--stop-time", "0.5",
                   "--output-interval", str(STEP), "--output-file", output,
                   "--output-variables", "speed", "current", "--start-values", *values]
        subprocess.run([zelvox, "exec", "--", *command], check=True)
        return read(output)


def libcosim(fmu):
    from libcosimpy.CosimExecution import CosimExecution
    from libcosimpy.CosimObserver import CosimObserver
    from libcosimpy.CosimSlave import CosimLocalSlave

    execution = CosimExecution.from_step_size(step_size=int(STEP * 1e9))  # nanoseconds
    motor = execution.add_local_slave(CosimLocalSlave(fmu_path=fmu, instance_name="motor"))
    for reference, value in zip((4, 5), START_VALUES.values()):
        execution.real_initial_value(motor, reference, value)
    observer = CosimObserver.create_last_value()
    execution.add_observer(observer)
    rows = [(0.0, 0.0, 0.0)]
    for step in range(1, 501):
        assert execution.step(), "the step failed"
        rows.append((step * STEP, *observer.last_real_values(motor, [0, 1])))
    return tuple(zip(*rows))


def main(case, fmu, zelvox, jar, reference):
    importer, _, jvm = case.partition("-")
    if case == "validation":
        return validation(fmu)
    if case == "fmpy-exec":
        return compare(fmpy_exec(fmu, zelvox), read(reference))
    if jvm == "jpype":
        start_jvm(jar)
    elif "ZELVOX_TEST_UNDER_EXEC" not in os.environ:
        environment = dict(os.environ, ZELVOX_TEST_UNDER_EXEC="1")
        command = [zelvox, "exec", "--", sys.executable, *sys.argv]
        return sys.exit(subprocess.run(command, env=environment).returncode)
    compare({"fmpy": fmpy_jpype, "libcosim": libcosim}[importer](fmu), read(reference))


main(*sys.argv[1:])
