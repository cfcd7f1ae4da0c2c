// Communication points and rows.
#include "experiment/time_grid.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "ending/failure.h"

namespace {

TEST(TimeGrid, HasItsRowsAWholeNumberOfStepsApart) {
  struct Run {
    double start, stop;
    std::optional<double> given;  // the output interval
    double step, interval;
    long long steps;
  };
  constexpr double epoch = 1.7e9;
  for (const auto& [start, stop, given, step, interval, steps] :
       std::initializer_list<Run>{{0, 1, 0.3, 0.1, 0.3, 10},
                                  {0, 3, 1, 1. / 3, 1, 9},
                                  {0, 2, 5, 0.5, 5, 4},
                                  {0, 2.2, 1.1, 0.1, 1.1, 22},
                                  {0, 1, {}, 0.002, 0.002, 500},
                                  {0, 1.5, {}, 0.0005, 0.003, 3000},
                                  {-0.9, 0.9, {}, 0.3, 0.3, 6},
                                  {0, 1e308, {}, 1e307, 1e307, 10},
                                  {-1e-300, 1e-300, {}, 1e-301, 1e-301, 20},
                                  {epoch, epoch + 0.15, 0.01, 0.01, 0.01, 15},
                                  {epoch, epoch + 1e-5, 1e-6, 1e-6, 1e-6, 10},
                                  {0, 0.31, 0.1, 0.1, 0.1, 4},
                                  {0, 0.2999999999, 0.1, 0.1, 0.1, 3},
                                  {0, 0.3000000001, 0.1, 0.1, 0.1, 3}}) {
    ModelDescription model;
    model.variableStepSize = true;
    const TimeGrid grid({start, stop, given, step}, model);
    EXPECT_EQ(grid.steps, steps);
    long long row = 0;
    for (long long i = 0; i <= grid.steps; ++i) {
      if (i > 0 && i < grid.steps) {
        EXPECT_EQ(grid.stepSize(i - 1), step) << i;
        EXPECT_LT(grid.point(i - 1), grid.point(i));
      }
      if (!grid.isRow(i)) continue;
      const double expected = start + static_cast<double>(row++) * interval;
      EXPECT_EQ(grid.point(i), i == grid.steps ? stop : expected);
    }
    EXPECT_EQ(grid.everyPointIsRow(), step == interval);
    const double digits = 4 * 0x1p-52 * std::max(std::abs(start), std::abs(stop));
    const double last = grid.stepSize(steps - 1);
    EXPECT_LE(std::abs(grid.point(steps - 1) + last - stop), digits);
    if (std::abs(start + static_cast<double>(steps) * step - stop) <= digits) {
      EXPECT_EQ(last, step);
    }
  }
}

TEST(TimeGrid, TakesTimesForTheSameThatAreAMillionthOfAStepOrFourDigitsApart) {
  const auto toleranceOf = [](double start, double step) {
    return TimeGrid({start, start + 64 * step, step, {}}, ModelDescription()).tolerance;
  };
  EXPECT_EQ(toleranceOf(0, 0.5), 0.5e-6);
  EXPECT_EQ(toleranceOf(0x1p30, 0x1p-9), 4 * 0x1p-22);
  EXPECT_EQ(toleranceOf(0x1p30, 0x1p-20), 0x1p-22) << "never more than a quarter of a step";
  for (const double stop : {0.29999995, 0.30000005})
    EXPECT_EQ(TimeGrid({0, stop, 0.1, {}}, ModelDescription()).steps, 3) << stop;
}

TEST(TimeGrid, LastsASecondOrAStepWhereNobodySaysHowLong) {
  ModelDescription model;
  EXPECT_EQ(TimeGrid({2, {}, {}, {}}, model).stop, 3);
  model.stepSize = 10;
  EXPECT_EQ(TimeGrid({2, {}, {}, {}}, model).stop, 12);
  model.stepSize = std::numeric_limits<double>::infinity();
  EXPECT_EQ(TimeGrid({2, {}, {}, 0.5}, model).stop, 3);
}

TEST(TimeGrid, IsRefusedForRunsThatCannotBe) {
  for (const auto& [options, reason] : std::initializer_list<std::pair<TimeOptions, const char*>>{
           {{1, 1, {}, {}}, "expected a stop time behind the start time"},
           {{-1e308, 1e308, 1e307, {}}, "longer than any number"},
           {{0, 1, 1e-17, {}}, "the output interval is 1e-17, expected"},
           {{0, 1, {}, -0.1}, "the step size is -0.1, expected a positive one"},
           {{1.7e9, 1.7e9 + 1, 1e-7, {}}, "lost in the digits of the time"},
           {{0, 1, 0.25, 0.1}, "0.25 is no whole multiple of the step size 0.1"}}) {
    try {
      const TimeGrid grid(options, ModelDescription());
      ADD_FAILURE() << "not refused: " << reason;
    } catch (const Failure& failure) {
      EXPECT_NE(std::string(failure.what()).find(reason), std::string::npos) << failure.what();
    }
  }
}

}  // namespace
