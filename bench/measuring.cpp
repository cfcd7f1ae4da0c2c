#include "measuring.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <map>
#include <numeric>
#include <random>
#include <sstream>

#include "importer.h"

namespace {

using Round = std::vector<double>;  // nanoseconds of an operation, by variant

std::map<std::string, std::vector<Round>> rounds;  // by name of the case

Spread spreadOf(std::vector<double> values) {
  std::ranges::sort(values);
  const auto at = [&](double share) {
    return values[static_cast<std::size_t>(share * static_cast<double>(values.size() - 1) + 0.5)];
  };
  return {at(0.25), at(0.5), at(0.75)};
}

Result summary(const std::vector<Round>& measured) {
  const auto spread = [&measured](auto value) {
    std::vector<double> values;
    for (const Round& round : measured) values.push_back(value(round));
    return spreadOf(std::move(values));
  };
  Result result;
  for (std::size_t i = 0; i < measured[0].size(); ++i) {
    result.nanoseconds.push_back(spread([i](const Round& round) { return round[i]; }).median);
    if (i > 0)
      result.ratios.push_back(spread([i](const Round& round) { return round[0] / round[i]; }));
  }
  return result;
}

// Warms all variants up and finds how often an operation goes into half a millisecond.
long timesPerRound(const Case& c) {
  constexpr double warmUp = 1.5e8, slice = 4e5;
  long times = 1;
  for (const Loop& variant : c.variants) {
    double spent = 0.0;
    for (long n = 1; spent < warmUp; n = std::min(2 * n, 100'000L)) spent += variant(n);
  }
  while (c.variants[0](times) < slice) times *= 2;
  return times;
}

}  // namespace

void measure(benchmark::State& state, const Case& c) {
  const long times = timesPerRound(c);
  const std::size_t count = c.variants.size();
  std::vector<std::size_t> order(count);
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::minstd_rand random;
  for (auto _ : state) {
    // What ran before leaves caches and branch predictors in its favour, so no variant may always
    // follow the same one, and each begins with some operations that do not count.
    std::ranges::shuffle(order, random);
    Round round(count);
    for (const std::size_t variant : order) {
      c.variants[variant](times / 8);
      round[variant] = c.variants[variant](times) / static_cast<double>(times);
    }
    state.SetIterationTime(round[0] * 1e-9);
    rounds[c.name].push_back(std::move(round));
  }
}

const Result* resultOf(const Case& c) {
  static Result result;
  const auto found = rounds.find(c.name);
  if (found == rounds.end()) return nullptr;
  result = summary(found->second);
  return &result;
}

// Lines of a name and the nanoseconds of one round.
void readPool(const std::string& file) {
  std::ifstream lines(file);
  for (std::string line; std::getline(lines, line);) {
    std::istringstream text(line);
    std::string name;
    std::getline(text, name, '\t');
    rounds[name].push_back({std::istream_iterator<double>(text), {}});
  }
}

void writePool(const std::string& file) {
  std::ofstream lines(file);
  for (const auto& [name, measured] : rounds)
    for (const Round& round : measured) {
      lines << name;
      for (const double nanoseconds : round) lines << '\t' << nanoseconds;
      lines << '\n';
    }
  if (!lines.flush()) fail("cannot write " + file);
}
