"""What a source and a controller that it drives are worth at t = 0 and after the first step:

    first_values.py IMPORTER SOURCE_FMU CONTROLLER_FMU

IMPORTER is fmpy, libcosim or ecos. Fails unless they are right; a full tank of 4 m is set first.
"""

import sys

STEP = 0.5  # s


def fmpy(*fmus):
    from fmpy import extract, instantiate_fmu, read_model_description
    slaves = []
    for fmu in fmus:
        directory = extract(fmu)
        description = read_model_description(directory)
        references = {variable.name: variable.valueReference for variable in description.modelVariables}
        slaves.append((instantiate_fmu(directory, description, fmi_type="CoSimulation"), references))
    (source, of_source), (controller, of_controller) = slaves

    def read():
        level, = source.getReal([of_source["level"]])
        controller.setReal([of_controller["level"]], [level])
        return level, controller.getReal([of_controller["valve"]])[0]

    source.setReal([of_source["full"]], [4.0])
    for slave, _ in slaves:
        slave.setupExperiment(startTime=0.0)
        slave.enterInitializationMode()
    first = read()
    for slave, _ in slaves:
        slave.exitInitializationMode()
    assert first == (source.getReal([of_source["level"]])[0], controller.getReal([of_controller["valve"]])[0])
    for slave, _ in slaves:
        slave.doStep(0.0, STEP)
    return first, (source.getReal([of_source["level"]])[0], controller.getReal([of_controller["valve"]])[0])


def libcosim(*fmus):
    from libcosimpy.CosimEnums import CosimVariableType
    from libcosimpy.CosimExecution import CosimExecution
    from libcosimpy.CosimObserver import CosimObserver
    from libcosimpy.CosimSlave import CosimLocalSlave
    execution = CosimExecution.from_step_size(step_size=int(STEP * 1e9))  # nanoseconds
    slaves = [execution.add_local_slave(CosimLocalSlave(fmu_path=fmu, instance_name=name))
              for fmu, name in zip(fmus, ("source", "controller"))]
    references = [{variable.name.decode(): variable.reference for variable in execution.slave_variables(slave)}
                  for slave in slaves]
    execution.real_initial_value(slaves[0], references[0]["full"], 4.0)
    execution.connect_real_variables(slaves[0], references[0]["level"], slaves[1], references[1]["level"])
    observer = CosimObserver.create_time_series()
    execution.add_observer(observer)
    read = [(slave, of[name]) for slave, of, name in zip(slaves, references, ("level", "valve"))]
    for slave, reference in read:
        observer.start_time_series(slave, reference, CosimVariableType.REAL)
    assert execution.step() and execution.step()  # libcosimpy leaves the last sample out
    return zip(*(observer.time_series_real_samples(slave, reference, from_step=0)[-1] for slave, reference in read))


def ecos(*fmus):
    from ecospy import EcosLib, EcosSimulation, EcosSimulationStructure
    EcosLib.set_log_level("debug")
    with EcosSimulationStructure() as structure:
        for name, fmu in zip(("source", "controller"), fmus):
            structure.add_model(name, fmu)
        structure.make_real_connection("source::level", "controller::level")
        structure.add_parameter_set("full", {"source::full": 4.0})
        with EcosSimulation(structure=structure, step_size=STEP) as simulation:
            def read():
                return tuple(map(simulation.get_real, ("source::level", "controller::valve")))
            simulation.init(parameter_set="full")
            first = read()
            simulation.step()
            second = read()
            simulation.terminate()
    return first, second


first, second = {"fmpy": fmpy, "libcosim": libcosim, "ecos": ecos}[sys.argv[1]](*sys.argv[2:])
print(first, second)
assert (first, second) == ((4.0, 1.0), (4 - 0.01 * STEP, 1.0))
