"""Runs the DC motor in libcosim: pip install libcosimpy, and the wheel with [jpype] for the second way.

    zelvox exec -- python3 libcosim_motor.py motor.fmu motor.csv
    python3 libcosim_motor.py motor.fmu motor.csv --start-jvm

The first way has a JVM before Python begins; the second one starts it here.
"""

import csv
import sys

from libcosimpy.CosimExecution import CosimExecution
from libcosimpy.CosimLogging import CosimLogLevel, log_output_level
from libcosimpy.CosimObserver import CosimObserver
from libcosimpy.CosimSlave import CosimLocalSlave

STEP, STEPS = 1e-3, 500  # s


def main(fmu, output_file, start_jvm=None):
    if start_jvm == "--start-jvm":
        import zelvox

        zelvox.start_jvm()
    log_output_level(CosimLogLevel.WARNING)  # by default every call of the FMU is logged
    execution = CosimExecution.from_step_size(step_size=int(STEP * 1e9))  # nanoseconds
    # Each local slave gets a name and a copy of the library of its own, so several may run in parallel.
    slave = CosimLocalSlave(fmu_path=fmu, instance_name="motor")
    if not slave.ptr():  # libcosim itself would crash
        sys.exit("the FMU was not instantiated; the messages above say why")
    motor = execution.add_local_slave(slave)
    references = {variable.name.decode(): variable.reference for variable in execution.slave_variables(motor)}
    for name, value in {"voltage": 12.0, "load": 0.01}.items():  # V, N.m
        execution.real_initial_value(motor, references[name], value)
    observer = CosimObserver.create_last_value()
    execution.add_observer(observer)
    outputs = [references["speed"], references["current"]]
    with open(output_file, "w", newline="") as file:
        table = csv.writer(file)
        table.writerow(["time", "speed", "current"])
        table.writerow([0.0, 0.0, 0.0])  # the motor stands still until the first step
        for step in range(1, STEPS + 1):
            if not execution.step():
                sys.exit(f"the step to {step * STEP} s failed")
            speed, current = observer.last_real_values(motor, outputs)
            table.writerow([step * STEP, speed, current])
    print(f"{STEPS + 1} points, at the end {speed:.6f} rad/s")


if __name__ == "__main__":
    if len(sys.argv) not in (3, 4):
        sys.exit(__doc__)
    main(*sys.argv[1:])
