"""Runs two models in one FMPy process, the level in a tank being the voltage of the motor:

    zelvox exec -- python3 fmpy_pair.py tank.fmu motor.fmu pair.csv
"""

import csv
import sys

from fmpy import extract, instantiate_fmu, read_model_description

STEP, STEPS = 1e-3, 500  # s


class Slave:
    def __init__(self, file):
        directory = extract(file)
        description = read_model_description(directory)
        self.references = {variable.name: variable.valueReference for variable in description.modelVariables}
        self.fmu = instantiate_fmu(directory, description, fmi_type="CoSimulation")

    def begin(self, parameter, value):
        self.set(parameter, value)
        self.fmu.setupExperiment(startTime=0.0)
        self.fmu.enterInitializationMode()

    def set(self, name, value):
        self.fmu.setReal([self.references[name]], [value])

    def get(self, name):
        return self.fmu.getReal([self.references[name]])[0]


def main(tank_file, motor_file, output_file):
    tank, motor = Slave(tank_file), Slave(motor_file)
    tank.begin("drain", 2.0)  # 1/s
    motor.begin("J", 2e-4)  # kg.m2
    motor.set("voltage", tank.get("level"))
    for slave in tank, motor:
        slave.fmu.exitInitializationMode()
    with open(output_file, "w", newline="") as file:
        table = csv.writer(file)
        table.writerow(["time", "level", "speed", "current"])
        for step in range(STEPS + 1):
            if step > 0:
                motor.set("voltage", tank.get("level"))
                for slave in tank, motor:
                    slave.fmu.doStep(currentCommunicationPoint=(step - 1) * STEP, communicationStepSize=STEP)
            table.writerow([step * STEP, tank.get("level"), motor.get("speed"), motor.get("current")])
    for slave in tank, motor:
        slave.fmu.terminate()
        slave.fmu.freeInstance()


if __name__ == "__main__":
    if len(sys.argv) != 4:
        sys.exit(__doc__)
    main(*sys.argv[1:])
