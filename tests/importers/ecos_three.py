# Runs three tanks in Ecos, each with a drain of its own: ecos_three.py FMU FMU FMU. Fails unless each
# is right.

import math
import sys

from ecospy import EcosLib, EcosSimulation, EcosSimulationStructure

EcosLib.set_log_level("debug")
drains = {"a": 1.0, "b": 2.0, "c": 3.0}
with EcosSimulationStructure() as structure:
    for name, fmu in zip(drains, sys.argv[1:], strict=True):
        structure.add_model(name, fmu)
    structure.add_parameter_set("drains", {f"{name}::drain": drain for name, drain in drains.items()})
    with EcosSimulation(structure=structure, step_size=0.25) as simulation:
        simulation.init(parameter_set="drains")
        simulation.step(2)
        levels = {name: simulation.get_real(f"{name}::level") for name in drains}
        simulation.terminate()
print(levels)
assert all(math.isclose(levels[name], 12 * math.exp(-drain / 2)) for name, drain in drains.items())
