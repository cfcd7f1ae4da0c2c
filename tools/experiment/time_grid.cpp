#include "experiment/time_grid.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <limits>

#include "ending/failure.h"
#include "words/numbers.h"

namespace {

// What the last binary digit of the time is worth where the time is farthest from 0.
double digitOf(double start, double stop) {
  return std::ldexp(std::numeric_limits<double>::epsilon(),
                    std::ilogb(std::max(std::abs(start), std::abs(stop))));
}

// The points are counted in doubles, too.
constexpr double mostSteps = 1.0 / std::numeric_limits<double>::epsilon();

[[noreturn]] void refuse(const std::string& name, double length) {
  throw Failure("the " + name + " is " + numberText(length) +
                    ", expected a positive one that is not lost in the digits of the time",
                ExitCode::usage);
}

bool isLength(double value) {
  return std::isfinite(value) && value > 0.0;
}

// At least 1; more than any run has when the lengths are that far apart.
long long nearestMultiple(double interval, double step) {
  const double quotient = std::round(interval / step);
  return quotient >= 1.0 ? static_cast<long long>(std::min(quotient, mostSteps)) : 1;
}

// But for the rounding of the two decimal numbers that the user wrote.
bool isMultiple(double interval, double step, long long count) {
  constexpr double digits = 4.0 * std::numeric_limits<double>::epsilon();
  return std::abs(static_cast<double>(count) * step - interval) <= digits * interval;
}

// begin + count * step, without the last digits, in which it is not what people would write.
std::string multipleText(double begin, double step, long long count) {
  const double exact = begin + static_cast<double>(count) * step;
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%.15g", exact);
  return numberText(parseNumber(text.data()).value_or(exact));
}

}  // namespace

TimeGrid::TimeGrid(const TimeOptions& options, const ModelDescription& model)
    : shortensLastStep(model.variableStepSize) {
  start = options.startTime.value_or(model.startTime.value_or(0.0));
  // An FMU that says how long its steps are, and not the run, is run for one at least.
  const double length =
      isLength(model.stepSize.value_or(0.0)) ? std::max(1.0, *model.stepSize) : 1.0;
  stop = options.stopTime.value_or(model.stopTime.value_or(start + length));
  if (!std::isfinite(start) || !std::isfinite(stop) || stop <= start)
    throw Failure("the run would go from " + numberText(start) + " to " + numberText(stop) +
                      ", expected a stop time behind the start time",
                  ExitCode::usage);
  if (!std::isfinite(stop - start))
    throw Failure("the run would go from " + numberText(start) + " to " + numberText(stop) +
                      ", which is longer than any number",
                  ExitCode::usage);
  chooseSteps(options, model);
  const std::string nameOfStep = options.stepSize ? "step size" : "output interval";
  const double digit = digitOf(start, stop);
  const double quotient = (stop - start) / interval * static_cast<double>(stepsPerRow);
  if (step < digit || quotient > mostSteps) refuse(nameOfStep, step);
  rounding = std::min(4.0 * digit, step / 4.0);
  tolerance = std::max(1e-6 * step, rounding);
  if (step > stop - start + tolerance)
    throw Failure("the " + nameOfStep + " is " + numberText(step) +
                      ", expected at most the length of the run, " + numberText(stop - start),
                  ExitCode::usage);
  // A quotient that is a whole number but for the tolerance is meant to be one.
  const double whole = std::round(quotient);
  const bool isWhole = std::abs(quotient - whole) * step <= tolerance;
  steps = static_cast<long long>(isWhole ? whole : std::ceil(quotient));
  if (isWhole || shortensLastStep) return;
  throw Failure("no whole number of steps of " + numberText(step) + " goes from " +
                    numberText(start) + " to " + numberText(stop) +
                    ", and the FMU takes no shorter one (it does not say "
                    "canHandleVariableCommunicationStepSize); --stop-time " +
                    multipleText(start, step, steps - 1) + " or " +
                    multipleText(start, step, steps) + ", or another --step-size",
                ExitCode::usage);
}

void TimeGrid::chooseSteps(const TimeOptions& options, const ModelDescription& model) {
  interval = options.outputInterval.value_or(model.stepSize.value_or((stop - start) / 500.0));
  step = options.stepSize.value_or(interval);
  if (!isLength(step)) refuse(options.stepSize ? "step size" : "output interval", step);
  if (!isLength(interval)) {
    if (options.outputInterval) refuse("output interval", interval);
    interval = step;
  }
  stepsPerRow = nearestMultiple(interval, step);
  if (isMultiple(interval, step, stepsPerRow)) return;
  if (!options.outputInterval) {
    interval = static_cast<double>(stepsPerRow) * step;
    return;
  }
  throw Failure("the output interval " + numberText(interval) +
                    " is no whole multiple of the step size " + numberText(step) +
                    "; the nearest that is one: " + multipleText(0.0, step, stepsPerRow),
                ExitCode::usage);
}

double TimeGrid::point(long long i) const {
  return i == steps ? stop
                    : start + static_cast<double>(i / stepsPerRow) * interval +
                          static_cast<double>(i % stepsPerRow) * step;
}

double TimeGrid::stepSize(long long i) const {
  const double rest = stop - point(steps - 1);
  return shortensLastStep && i == steps - 1 && std::abs(rest - step) > rounding ? rest : step;
}
