// A line of a picture, thinned to what can be seen of it: a few kilobytes, however long the run is.
#pragma once

#include <cstddef>
#include <optional>
#include <vector>

struct PlotPoint {
  double time, value;
};

class Trace {
 public:
  // The next point, behind the others in time.
  void add(double time, double value);
  // All points of a short run; of a longer one the first, the last, the smallest and the largest of
  // each column of the picture, so that no peak is lost, and one that is no number, if there was
  // one. In the order of time.
  std::vector<PlotPoint> points() const;

  double firstTime() const { return columns.front().first.time; }
  double lastTime() const { return columns.back().last.time; }

 private:
  // Points that follow each other, and come to lie in one column.
  struct Column {
    PlotPoint first, last;
    std::optional<PlotPoint> lowest, highest, none;
    void append(const Column& next);
  };

  std::vector<Column> columns;
  std::size_t pointsPerColumn = 1;
  std::size_t pointsOfLast = 0;
};
