"""Runs two models in Ecos, the level in a tank being the voltage of the motor: pip install ecospy,
and Debian's libtbb12.

    zelvox exec -- python3 ecos_pair.py tank.fmu motor.fmu pair.csv
"""

import csv
import sys

from ecospy import EcosLib, EcosSimulation, EcosSimulationStructure

STEP, STEPS = 1e-3, 500  # s
OUTPUTS = ["tank::level", "motor::speed", "motor::current"]


def main(tank, motor, output_file):
    EcosLib.set_log_level("debug")  # Ecos goes on after an error, and says it nowhere else
    with EcosSimulationStructure() as structure:
        structure.add_model("tank", tank)
        structure.add_model("motor", motor)
        structure.make_real_connection("tank::level", "motor::voltage")
        structure.add_parameter_set("study", {"tank::drain": 2.0, "motor::J": 2e-4})
        with EcosSimulation(structure=structure, step_size=STEP) as simulation:
            simulation.init(parameter_set="study")
            with open(output_file, "w", newline="") as file:
                table = csv.writer(file)
                table.writerow(["time", "level", "speed", "current"])
                for step in range(STEPS + 1):
                    if step > 0:
                        simulation.step()
                    table.writerow([simulation.get_time()] + [simulation.get_real(name) for name in OUTPUTS])
            simulation.terminate()


if __name__ == "__main__":
    if len(sys.argv) != 4:
        sys.exit(__doc__)
    main(*sys.argv[1:])
