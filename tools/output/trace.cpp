#include "output/trace.h"

#include <algorithm>
#include <cmath>

void Trace::Column::append(const Column& next) {
  last = next.last;
  if (next.lowest && (!lowest || next.lowest->value < lowest->value)) lowest = next.lowest;
  if (next.highest && (!highest || next.highest->value > highest->value)) highest = next.highest;
  if (next.none) none = next.none;
}

void Trace::add(double time, double value) {
  // Twice as many as the picture is wide: there are always half of them or more.
  constexpr std::size_t mostColumns = 1600;
  const PlotPoint point{time, value};
  Column next{point, point, {}, {}, {}};
  if (std::isfinite(value)) {
    next.lowest = next.highest = point;
  } else {
    next.none = point;
  }
  if (pointsOfLast < pointsPerColumn && !columns.empty()) {
    columns.back().append(next);
    ++pointsOfLast;
    return;
  }
  if (columns.size() == mostColumns) {
    for (std::size_t i = 0; i < mostColumns; i += 2) {
      columns[i].append(columns[i + 1]);
      columns[i / 2] = columns[i];
    }
    columns.resize(mostColumns / 2);
    pointsPerColumn *= 2;
  }
  columns.push_back(next);
  pointsOfLast = 1;
}

std::vector<PlotPoint> Trace::points() const {
  std::vector<PlotPoint> kept;
  for (const Column& column : columns) {
    const auto begin = static_cast<std::ptrdiff_t>(kept.size());
    kept.push_back(column.first);
    for (const auto& point : {column.lowest, column.highest, column.none})
      if (point) kept.push_back(*point);
    kept.push_back(column.last);
    std::ranges::sort(kept.begin() + begin, kept.end(), {}, &PlotPoint::time);
    const auto same = std::ranges::unique(kept.begin() + begin, kept.end(), {}, &PlotPoint::time);
    kept.erase(same.begin(), same.end());
  }
  return kept;
}
