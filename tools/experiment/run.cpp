#include "experiment/run.h"

Run::Run(Experiment& toDo, LoadedFmu& newInstance) : experiment(toDo), instance(newInstance) {}

void Run::initialize() {
  const TimeGrid& grid = experiment.grid;
  instance.setupExperiment(experiment.model.tolerance, grid.start, grid.stop);
  experiment.start.writeTo(instance);
  instance.enterInitializationMode();
  if (experiment.inputs) experiment.inputs->writeTo(instance, grid.start, grid.tolerance);
  instance.exitInitializationMode();
}

bool Run::step() {
  const TimeGrid& grid = experiment.grid;
  if (!instance.doStep(grid.point(stepsDone), grid.stepSize(stepsDone))) {
    endedByFmu = true;
    return false;
  }
  ++stepsDone;
  if (experiment.inputs) experiment.inputs->writeTo(instance, time(), grid.tolerance);
  return true;
}

void Run::terminate() {
  instance.terminate();
}
