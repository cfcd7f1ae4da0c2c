// What a table keeps of each of many runs: all points, or one row with statistics.
#pragma once

#include <string>
#include <vector>

#include "fmu_file/model_description.h"
#include "output/result_table.h"

enum class Statistic { minimum, maximum, mean, final };

struct RecordOptions {
  bool all = false;                                        // every communication point
  bool errors = false;                                     // and a row at the end of each run
  std::vector<Statistic> statistics = {Statistic::final};  // else, in the order of the columns
};

// The options that words say: "all", "all" and "error", or the names of statistics. Throws Failure
// (usage).
RecordOptions parseRecord(const std::vector<std::string>& words);

// The statistics of one run at a time. Texts have no statistics but `final`.
class RunRecord {
 public:
  // `variables` must live as long as the record.
  RunRecord(const std::vector<const ScalarVariable*>& variables,
            const std::vector<Statistic>& statistics);

  // False when the last point of a run is enough.
  bool needsEveryPoint() const { return everyPoint; }
  // The names of the columns. A variable whose name is in `taken` has another one, NAME.final, also
  // where `final` is the only statistic.
  std::vector<std::string> columns(const std::vector<std::string>& taken) const;

  void beginRun() { points = 0; }
  // A point of the run, with a value for each variable.
  void add(double time, const std::vector<Cell>& values);
  // The cells of a run that has at least one point.
  void writeTo(ResultTable& file) const;
  // As many cells without a value.
  void skipIn(ResultTable& file) const;

 private:
  struct Column {
    std::size_t variable;
    Statistic statistic;
  };
  // Of a variable with numbers, over the points so far.
  struct Sums {
    double minimum, maximum;
    double integral;  // over time, by the trapezoidal rule
    double last;
  };
  double numberFor(const Column& column) const;

  const std::vector<const ScalarVariable*>& observed;
  std::vector<Column> cells;
  bool everyPoint;

  long long points = 0;
  double firstTime = 0.0, lastTime = 0.0;
  std::vector<Sums> sums;  // by variable, when every point is needed
  const std::vector<Cell>* lastValues = nullptr;
};
