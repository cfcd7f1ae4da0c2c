// One run of an instance: from the setup of its experiment to the stop time. Who looks at the
// values does so between the steps.
#pragma once

#include <string>
#include <vector>

#include "experiment/experiment.h"
#include "loaded_fmu/loaded_fmu.h"

// What is asked of every command that makes runs.
struct RunOptions {
  ExperimentOptions experiment;
  std::filesystem::path outputFile;  // "-" is stdout; empty when not wanted
  FmuLogging logging;
  bool failOnNan = false;
  bool quiet = false;
};

class Run {
 public:
  // The instance is new or was reset. The experiment must outlive the object, the instance its
  // functions that are not const.
  Run(Experiment& toDo, LoadedFmu& newInstance) : experiment(toDo), instance(newInstance) {}

  // All three throw Failure when the FMU refuses. After it the outputs at the start can be read.
  void initialize();
  bool goesOn() const { return stepsDone < experiment.grid.steps && !endedByFmu; }
  // One communication step, while goesOn(). False when the FMU ended the run by itself within it;
  // then the time is what it was. After it the inputs are those of the next step.
  bool step();
  void terminate() { instance.terminate(); }

  double time() const { return experiment.grid.point(stepsDone); }
  long long steps() const { return stepsDone; }
  bool wasEndedByFmu() const { return endedByFmu; }

 private:
  Experiment& experiment;
  LoadedFmu& instance;
  long long stepsDone = 0;
  bool endedByFmu = false;
};

// Results that are no finite numbers: each variable is warned of once, or they end the run.
class FiniteCheck {
 public:
  // The variables must outlive the object.
  FiniteCheck(const std::vector<const ScalarVariable*>& variables, bool failOnNan)
      : observed(variables), fails(failOnNan), warned(variables.size()) {}

  // A value for each variable, at a time of a run; `run` says which, for the warning, and is empty
  // where there is one only. Throws Failure if that was wanted.
  void check(double time, const std::vector<Cell>& values, const std::string& run = {});

 private:
  const std::vector<const ScalarVariable*>& observed;
  bool fails;
  std::vector<bool> warned;  // by variable
};
