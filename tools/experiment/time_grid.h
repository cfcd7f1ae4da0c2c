// The communication points of a run, and which of them are rows of its result. A row is at
// start + r * interval, so that nothing drifts, each step between two rows one step size later, and
// the stop time is hit exactly by the last step. It is a row in any case.
#pragma once

#include <optional>

#include "fmu_file/model_description.h"

// What the user wants; what is empty follows the FMU's default experiment.
struct TimeOptions {
  std::optional<double> startTime, stopTime;
  std::optional<double> outputInterval;  // 1/500 of the run where the FMU has no default either
  // The output interval when it is empty. When it alone is given, the interval is the whole
  // multiple of it nearest to what it would be.
  std::optional<double> stepSize;
};

class TimeGrid {
 public:
  // Throws Failure (usage) for a run that cannot be.
  TimeGrid(const TimeOptions& options, const ModelDescription& model);

  double point(long long i) const;
  bool isRow(long long i) const { return i % stepsPerRow == 0 || i == steps; }
  bool everyPointIsRow() const { return stepsPerRow == 1; }
  // Of the step from point i on. All steps have the same length but for the last, if it does not
  // divide the run: some FMUs refuse a length that differs in its last digits, and others any that
  // differs.
  double stepSize(long long i) const;

  double start, stop;
  double step;  // the communication step size
  // How far apart two times may be that mean the same: a millionth of the step, or more where the
  // digits of the time do not suffice.
  double tolerance;
  long long steps;

 private:
  void chooseSteps(const TimeOptions& options, const ModelDescription& model);

  const bool shortensLastStep;  // where the FMU can handle that
  double interval;              // of the rows
  long long stepsPerRow = 1;
  double rounding;  // of a point of time, and of the difference of two
};
