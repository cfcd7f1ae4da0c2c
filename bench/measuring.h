// How times are taken. Machines are noisy, so ratios are taken within short rounds: each one runs
// every variant of a case as often as the first one can in about half a millisecond. Where code and
// data happen to lie decides a few hundredths for the whole life of a process, so several processes
// one after another may pool their rounds in a file.
#pragma once

#include <benchmark/benchmark.h>

#include <chrono>
#include <functional>
#include <string>
#include <utility>
#include <vector>

// Does something so many times and answers the nanoseconds that it took.
using Loop = std::function<double(long times)>;

template <class Operation>
Loop timed(Operation operation) {
  return [operation = std::move(operation)](long times) mutable {
    const auto begin = std::chrono::steady_clock::now();
    for (long i = 0; i < times; ++i) operation();
    return std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - begin)
        .count();
  };
}

struct Case {
  std::string name;
  std::vector<Loop> variants;
  double target = 0.0;  // for the ratio of the first two; 0 for none
  double width = 0.0;   // of the steps of growing width; 0 for all else
  int timesPerStep = 0;
};

struct Spread {
  double low, median, high;  // quartiles
};

struct Result {
  std::vector<double> nanoseconds;  // medians, by variant
  std::vector<Spread> ratios;  // of the first variant to each other one; medians of the rounds'
};

// One round for each iteration of the state.
void measure(benchmark::State& state, const Case& c);

// Null for a case that has not run, since a filter may leave cases out. Valid until the next call.
const Result* resultOf(const Case& c);

// The rounds of earlier processes; there need be no file yet. And all rounds so far.
void readPool(const std::string& file);
void writePool(const std::string& file);
