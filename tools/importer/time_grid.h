// The communication points of a run: start + i * interval, so that nothing drifts, and the stop
// time, which the last step hits exactly.
#pragma once

#include <optional>

#include "fmu_file/model_description.h"

// What the user wants; what is empty follows the FMU's default experiment.
struct TimeOptions {
  std::optional<double> startTime, stopTime, outputInterval;
};

class TimeGrid {
 public:
  // Throws Failure (usage) for a run that cannot be.
  TimeGrid(const TimeOptions& options, const ModelDescription& model);

  double point(long long i) const;
  // Of the step from point i on. All steps have the same length but for the last, if the interval
  // does not divide the run: some FMUs refuse a length that differs in its last digits.
  double stepSize(long long i) const;

  double start, stop, interval;
  // How far apart two times may be that mean the same: a millionth of the interval, or more where
  // the digits of the time do not suffice.
  double tolerance;
  long long steps;

 private:
  double rounding;  // of a point of time, and of the difference of two
};
