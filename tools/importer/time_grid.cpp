#include "importer/time_grid.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "base/failure.h"
#include "base/text.h"

namespace {

// What the last binary digit of the time is worth where the time is farthest from 0.
double digitOf(double start, double stop) {
  return std::ldexp(std::numeric_limits<double>::epsilon(),
                    std::ilogb(std::max(std::abs(start), std::abs(stop))));
}

}  // namespace

TimeGrid::TimeGrid(const TimeOptions& options, const ModelDescription& model) {
  start = options.startTime.value_or(model.startTime.value_or(0.0));
  stop = options.stopTime.value_or(model.stopTime.value_or(start + 1.0));
  if (!std::isfinite(start) || !std::isfinite(stop) || stop <= start)
    throw Failure("the run would go from " + numberText(start) + " to " + numberText(stop) +
                      ", expected a stop time behind the start time",
                  ExitCode::usage);
  if (!std::isfinite(stop - start))
    throw Failure("the run would go from " + numberText(start) + " to " + numberText(stop) +
                      ", which is longer than any number",
                  ExitCode::usage);
  interval = options.outputInterval.value_or(model.stepSize.value_or((stop - start) / 500.0));
  const double digit = digitOf(start, stop);
  // The points are counted in doubles, too.
  constexpr double mostSteps = 1.0 / std::numeric_limits<double>::epsilon();
  const double quotient = (stop - start) / interval;
  if (!std::isfinite(interval) || interval <= 0.0 || interval < digit || quotient > mostSteps)
    throw Failure("the output interval is " + numberText(interval) +
                      ", expected a positive one that is not lost in the digits of the time",
                  ExitCode::usage);
  rounding = std::min(4.0 * digit, interval / 4.0);
  tolerance = std::max(1e-6 * interval, rounding);
  // A quotient that is a whole number but for the tolerance is meant to be one.
  const double whole = std::round(quotient);
  steps = static_cast<long long>(std::abs(quotient - whole) * interval <= tolerance && whole > 0.0
                                     ? whole
                                     : std::ceil(quotient));
}

double TimeGrid::point(long long i) const {
  return i == steps ? stop : start + static_cast<double>(i) * interval;
}

double TimeGrid::stepSize(long long i) const {
  const double rest = stop - point(steps - 1);
  return i == steps - 1 && std::abs(rest - interval) > rounding ? rest : interval;
}
