#include "importer/time_grid.h"

#include <cmath>

#include "base/failure.h"
#include "base/text.h"

TimeGrid::TimeGrid(const TimeOptions& options, const ModelDescription& model) {
  start = options.startTime.value_or(model.startTime.value_or(0.0));
  stop = options.stopTime.value_or(model.stopTime.value_or(start + 1.0));
  if (!std::isfinite(start) || !std::isfinite(stop) || stop <= start)
    throw Failure("the run would go from " + numberText(start) + " to " + numberText(stop) +
                      ", expected a stop time behind the start time",
                  ExitCode::usage);
  interval = options.outputInterval.value_or(model.stepSize.value_or((stop - start) / 500.0));
  if (!std::isfinite(interval) || interval <= 0.0 || start + interval <= start ||
      stop - interval >= stop)
    throw Failure("the output interval is " + numberText(interval) +
                      ", expected a positive one that is not lost in the digits of the time",
                  ExitCode::usage);
  // A quotient that is a whole number but for its last digits is meant to be one.
  const double quotient = (stop - start) / interval;
  const double whole = std::round(quotient);
  steps = static_cast<long long>(
      std::abs(quotient - whole) < 1e-6 && whole > 0.0 ? whole : std::ceil(quotient));
}

double TimeGrid::point(long long i) const {
  return i == steps ? stop : start + static_cast<double>(i) * interval;
}

double TimeGrid::stepSize(long long i) const {
  const double rest = stop - point(steps - 1);
  return i == steps - 1 && std::abs(rest - interval) > 1e-6 * interval ? rest : interval;
}
