#include "experiment/run.h"

#include <cmath>

#include "ending/failure.h"
#include "words/numbers.h"
#include "words/text.h"

void Run::initialize() {
  const TimeGrid& grid = experiment.grid;
  instance.setupExperiment(experiment.model.tolerance, grid.start, grid.stop);
  instance.set(experiment.start);
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

void FiniteCheck::check(double time, const std::vector<Cell>& values, const std::string& run) {
  for (std::size_t i = 0; i < values.size(); ++i) {
    const double* const number = std::get_if<double>(&values[i]);
    if (number == nullptr || std::isfinite(*number) || warned[i]) continue;
    const std::string finding = "'" + printable(observed[i]->name) + "' is " + numberText(*number) +
                                " at t=" + numberText(time);
    if (fails) throw Failure(finding);
    warned[i] = true;
    warn(finding + run + " (said once per variable; --fail-on-nan makes it an error)");
  }
}
