"""Runs a system of two models in libcosim, the level in a tank being the voltage of the motor:
pip install libcosimpy.

    zelvox exec -- python3 pair.py OspSystemStructure.xml pair.csv

expects tank.fmu and motor.fmu beside the file. An archive pair.ssp, made of SystemStructure.ssd and
the FMUs in resources/, will do as well.
"""

import csv
import sys

from libcosimpy.CosimExecution import CosimExecution
from libcosimpy.CosimLogging import CosimLogLevel, log_output_level
from libcosimpy.CosimObserver import CosimObserver

STEP, STEPS = 1e-3, 500  # s
OUTPUTS = {"tank": ["level"], "motor": ["speed", "current"]}


def main(system, output_file):
    log_output_level(CosimLogLevel.WARNING)  # by default every call of the FMU is logged
    if system.endswith(".ssp"):
        execution = CosimExecution.from_ssp_file(ssp_path=system, step_size=int(STEP * 1e9))  # nanoseconds
    else:
        execution = CosimExecution.from_osp_config_file(osp_path=system)
    observer = CosimObserver.create_last_value()
    execution.add_observer(observer)
    outputs = []
    for name, names in OUTPUTS.items():
        slave = execution.slave_index_from_instance_name(name)
        references = {variable.name.decode(): variable.reference for variable in execution.slave_variables(slave)}
        outputs.append((slave, [references[output] for output in names]))
    with open(output_file, "w", newline="") as file:
        table = csv.writer(file)
        table.writerow(["time", "level", "speed", "current"])
        for step in range(1, STEPS + 1):  # the observer knows no values before the first step
            if not execution.step():
                sys.exit(f"the step to {step * STEP} s failed")
            values = [observer.last_real_values(slave, references) for slave, references in outputs]
            table.writerow([step * STEP] + sum(values, []))


if __name__ == "__main__":
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    main(*sys.argv[1:])
