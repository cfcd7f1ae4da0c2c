#include "runs/run_record.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>
#include <string_view>
#include <unordered_set>

#include "ending/failure.h"
#include "words/text.h"

namespace {

constexpr std::array<std::string_view, 4> statisticNames = {"minimum", "maximum", "mean", "final"};

// Once a value is NaN the result is, too: std::min would leave it out without a word.
double smaller(double a, double b) {
  return std::isnan(b) || b < a ? b : a;
}
double larger(double a, double b) {
  return std::isnan(b) || b > a ? b : a;
}

}  // namespace

RecordOptions parseRecord(const std::vector<std::string>& words) {
  RecordOptions options;
  options.errors = words == std::vector<std::string>{"all", "error"};
  options.all = options.errors || words == std::vector<std::string>{"all"};
  if (words.empty() || options.all) return options;
  options.statistics.clear();
  for (const std::string& word : words) {
    const auto found = std::ranges::find(statisticNames, word);
    const auto statistic = static_cast<Statistic>(found - statisticNames.begin());
    if (found == statisticNames.end())
      throw Failure(
          "--record has " + inQuotes(word) +
              " in it, expected all, or all,error, or some of minimum, maximum, mean and final",
          ExitCode::usage);
    if (std::ranges::find(options.statistics, statistic) != options.statistics.end())
      throw Failure("--record names " + word + " twice", ExitCode::usage);
    options.statistics.push_back(statistic);
  }
  return options;
}

RunRecord::RunRecord(const std::vector<const ScalarVariable*>& variables,
                     const std::vector<Statistic>& statistics)
    : observed(variables), everyPoint(statistics != std::vector{Statistic::final}) {
  for (std::size_t i = 0; i < observed.size(); ++i)
    for (const Statistic statistic : statistics)
      if (observed[i]->type != "String" || statistic == Statistic::final)
        cells.push_back({i, statistic});
  if (everyPoint) sums.resize(observed.size());
}

std::vector<std::string> RunRecord::columns(const std::vector<std::string>& taken) const {
  const std::unordered_set<std::string_view> others(taken.begin(), taken.end());
  std::vector<std::string> names;
  for (const auto& [variable, statistic] : cells) {
    const std::string& name = observed[variable]->name;
    const bool plain = !everyPoint && !others.contains(name);
    const std::string suffix(statisticNames[static_cast<std::size_t>(statistic)]);
    names.push_back(plain ? name : name + "." + suffix);
  }
  return names;
}

void RunRecord::add(double time, const std::vector<Cell>& values) {
  lastValues = &values;
  for (std::size_t i = 0; i < sums.size(); ++i) {
    const double* const number = std::get_if<double>(&values[i]);
    if (number == nullptr) continue;
    Sums& sum = sums[i];
    if (points == 0) {
      sum = {*number, *number, 0.0, *number};
    } else {
      sum.minimum = smaller(sum.minimum, *number);
      sum.maximum = larger(sum.maximum, *number);
      sum.integral += (time - lastTime) * std::midpoint(sum.last, *number);
      sum.last = *number;
    }
  }
  if (points == 0) firstTime = time;
  lastTime = time;
  ++points;
}

void RunRecord::writeTo(ResultTable& file) const {
  for (const Column& column : cells) {
    if (column.statistic == Statistic::final) {
      file.add((*lastValues)[column.variable]);
    } else {
      file.add(numberFor(column));
    }
  }
}

double RunRecord::numberFor(const Column& column) const {
  const Sums& sum = sums[column.variable];
  if (column.statistic == Statistic::minimum) return sum.minimum;
  if (column.statistic == Statistic::maximum) return sum.maximum;
  return lastTime > firstTime ? sum.integral / (lastTime - firstTime) : sum.last;
}

void RunRecord::skipIn(ResultTable& file) const {
  for (std::size_t i = 0; i < cells.size(); ++i) file.addEmpty();
}
