// What a picture keeps of a run.
#include "output/trace.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace {

TEST(Trace, KeepsAllOfAShortRun) {
  Trace trace;
  for (int i = 0; i < 1500; ++i) trace.add(i, i % 7);
  const std::vector<PlotPoint> points = trace.points();
  ASSERT_EQ(points.size(), 1500U);
  for (std::size_t i = 0; i < points.size(); ++i) {
    EXPECT_EQ(points[i].time, static_cast<double>(i));
    EXPECT_EQ(points[i].value, static_cast<double>(i % 7));
  }
}

TEST(Trace, KeepsEveryPeakOfALongRunInLittle) {
  constexpr int count = 10'000'000;
  Trace trace;
  for (int i = 0; i < count; ++i) {
    const double peak = i % 999'983 == 5 ? i : i % 999'983 == 7 ? -i : std::sin(i);
    trace.add(i, i == 4'000'000 ? std::nan("") : peak);
  }
  const std::vector<PlotPoint> points = trace.points();
  EXPECT_LE(points.size(), 8000U);
  EXPECT_TRUE(std::ranges::is_sorted(points, {}, &PlotPoint::time));
  const auto has = [&points](int time, double value) {
    const auto found = std::ranges::find(points, static_cast<double>(time), &PlotPoint::time);
    return found != points.end() && found->value == value;
  };
  for (int i = 999'983; i + 7 < count; i += 999'983) {
    EXPECT_TRUE(has(i + 5, i + 5));
    EXPECT_TRUE(has(i + 7, -(i + 7)));
  }
  EXPECT_TRUE(has(0, 0) && has(count - 1, std::sin(count - 1)));
  EXPECT_EQ(std::ranges::count_if(points, [](auto& point) { return std::isnan(point.value); }), 1);
  EXPECT_EQ(trace.firstTime(), 0.0);
  EXPECT_EQ(trace.lastTime(), static_cast<double>(count - 1));
}

TEST(Trace, LetsAValueThatIsNoneHideNoNeighbour) {
  Trace trace;  // in columns of eight points, from 4000 and from 4008 on
  for (int i = 0; i <= 8000; ++i)
    trace.add(i, i == 4000 || i == 4015   ? INFINITY
                 : i == 4003 || i == 4011 ? 1000
                 : i == 4005              ? -1000
                                          : 1);
  std::vector<double> extremes;
  for (const auto& point : trace.points())
    if (point.value != 1) extremes.push_back(point.time);
  EXPECT_EQ(extremes, (std::vector<double>{4000, 4003, 4005, 4011, 4015}));
}

}  // namespace
