// How much of an operation is the library's own share: measures it side by side with bare JNI
// calls. Each round is printed as a line: a name and the nanoseconds of one operation by variant,
// separated by tabs. tables.py makes tables of them.
//
//   bench ROUNDS
//
// Machines are noisy, so ratios are taken within short rounds: each one runs every variant of a
// case as often as the first one can in about half a millisecond. Where code and data happen to lie
// decides a few hundredths for the whole life of a process, so bench.sh runs several processes.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <functional>
#include <numeric>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "bare_calls.h"
#include "importer.h"

namespace {

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

// The library as the other two are called.
struct LibraryInstance {
  fmi2Component component;
  void setReal(const fmi2ValueReference vr[], std::size_t nvr, const double value[]) {
    check(fmi2SetReal(component, vr, nvr, value));
  }
  void getReal(const fmi2ValueReference vr[], std::size_t nvr, double value[]) {
    check(fmi2GetReal(component, vr, nvr, value));
  }
  void doStep(double time, double stepSize) {
    check(fmi2DoStep(component, time, stepSize, fmi2True));
  }
};

struct Case {
  std::string name;
  std::vector<Loop> variants;
};

void measure(const Case& c, long rounds) {
  constexpr double warmUp = 1.5e8, slice = 4e5;
  for (const Loop& variant : c.variants) {
    double spent = 0.0;
    for (long n = 1; spent < warmUp; n = std::min(2 * n, 100'000L)) spent += variant(n);
  }
  long times = 1;
  while (c.variants[0](times) < slice) times *= 2;

  std::vector<std::size_t> order(c.variants.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::vector<double> round(order.size());
  std::minstd_rand random;
  for (long i = 0; i < rounds; ++i) {
    // What ran before leaves caches and branch predictors in its favour, so no variant may always
    // follow the same one, and each begins with some operations that do not count.
    std::ranges::shuffle(order, random);
    for (const std::size_t variant : order) {
      c.variants[variant](times / 8);
      round[variant] = c.variants[variant](times) / static_cast<double>(times);
    }
    std::printf("%s", c.name.c_str());
    for (const double nanoseconds : round) std::printf("\t%g", nanoseconds);
    std::printf("\n");
  }
}

// One instance in the three variants, and what is set and read.
struct Subject {
  Subject(std::size_t inputs, std::size_t outputs, const std::string& name, bool logging = false)
      : fmu{startInstance(modelName(inputs, outputs, name), logging)},
        bare(modelName(inputs, outputs, name), inputs, outputs, logging),
        floor(modelName(inputs, outputs, name), inputs, outputs),
        inputReferences(inputs),
        outputReferences(outputs),
        values(std::max(inputs, outputs), 1.5) {
    std::iota(inputReferences.begin(), inputReferences.end(), 2 * outputs);
    std::iota(outputReferences.begin(), outputReferences.end(), 0u);
  }

  LibraryInstance fmu;
  BareInstance bare;
  FloorInstance floor;  // can only step
  std::vector<fmi2ValueReference> inputReferences, outputReferences;
  std::vector<double> values;
};

// Sets so many values, steps and gets so many, in the library and with the bare calls.
std::vector<Loop> calls(Subject& subject, std::size_t sets, bool steps, std::size_t gets) {
  const auto callsOf = [=, &subject](auto& instance) {
    return timed([=, &subject, &instance] {
      if (sets > 0) instance.setReal(subject.inputReferences.data(), sets, subject.values.data());
      if (steps) instance.doStep(0.0, 0.001);
      if (gets > 0) instance.getReal(subject.outputReferences.data(), gets, subject.values.data());
    });
  };
  return {callsOf(subject.fmu), callsOf(subject.bare)};
}

// Each step goes to the next one of the instances, also on the floor.
std::vector<Loop> stepsInTurn(std::deque<Subject>& subjects) {
  const auto inTurn = [&subjects](auto instance) {
    return timed([&subjects, instance, next = std::size_t{0}]() mutable {
      (subjects[next].*instance).doStep(0.0, 0.001);
      next = next + 1 == subjects.size() ? 0 : next + 1;
    });
  };
  return {inTurn(&Subject::fmu), inTurn(&Subject::bare), inTurn(&Subject::floor)};
}

std::vector<Loop> onForeignThread(std::vector<Loop> variants) {
  for (Loop& variant : variants)
    variant = [attached = std::move(variant)](long times) {
      double nanoseconds = 0.0;
      std::thread([&] { nanoseconds = attached(times); }).join();
      return nanoseconds;
    };
  return variants;
}

std::vector<Case> cases() {
  static std::deque<std::deque<Subject>> models;
  const auto stepping = [](std::size_t inputs, std::size_t outputs, int count = 1) {
    auto& some = models.emplace_back();
    for (int i = 0; i < count; ++i)
      some.emplace_back(inputs, outputs, std::to_string(count) + '.' + std::to_string(i));
    return stepsInTurn(some);
  };
  static Subject small(3, 2, "small"), wide(1000, 1000, "wide");
  static Subject loggingSmall(3, 2, "logging", true), loggingWide(1000, 1000, "logging", true);
  return {
      {"fmi2DoStep, 3 inputs and 2 outputs", stepping(3, 2)},
      {"fmi2DoStep, 10 and 10", stepping(10, 10)},
      {"fmi2DoStep, 100 and 100", stepping(100, 100)},
      {"fmi2DoStep, 1000 and 1000", stepping(1000, 1000)},
      {"fmi2DoStep, 10000 and 10000", stepping(10'000, 10'000)},
      {"fmi2DoStep, 100000 and 100000", stepping(100'000, 100'000)},
      {"fmi2DoStep, 100 instances in turn", stepping(3, 2, 100)},
      {"fmi2DoStep, 1000 instances in turn", stepping(3, 2, 1000)},
      {"fmi2SetReal of 1 value", calls(small, 1, false, 0)},
      {"fmi2SetReal of 10 values", calls(wide, 10, false, 0)},
      {"fmi2SetReal of 1000 values", calls(wide, 1000, false, 0)},
      {"fmi2GetReal of 1 value", calls(small, 0, false, 1)},
      {"fmi2GetReal of 10 values", calls(wide, 0, false, 10)},
      {"fmi2GetReal of 1000 values", calls(wide, 0, false, 1000)},
      {"set, step, get; 3 and 2", calls(small, 3, true, 2)},
      {"set, step, get; 1000 and 1000", calls(wide, 1000, true, 1000)},
      {"logging: fmi2DoStep, 3 and 2", calls(loggingSmall, 0, true, 0)},
      {"logging: fmi2SetReal of 1000 values", calls(loggingWide, 1000, false, 0)},
      {"logging: set, step, get; 3 and 2", calls(loggingSmall, 3, true, 2)},
      {"not attached: fmi2DoStep, 3 and 2", onForeignThread(calls(small, 0, true, 0))},
      {"not attached: fmi2SetReal of 1 value", onForeignThread(calls(small, 1, false, 0))},
      {"not attached: fmi2SetReal of 1000 values", onForeignThread(calls(wide, 1000, false, 0))},
      {"not attached: fmi2GetReal of 1 value", onForeignThread(calls(small, 0, false, 1))},
      {"not attached: set, step, get; 3 and 2", onForeignThread(calls(small, 3, true, 2))}};
}

}  // namespace

int main(int argc, char* argv[]) {
  if (argc < 2 || std::atol(argv[1]) < 1) fail("say how many rounds");
  prepareBareCalls(startJvm({"-Xms512m", "-Xmx512m"}));
  for (const Case& c : cases()) {
    std::fprintf(stderr, "%s\n", c.name.c_str());
    measure(c, std::atol(argv[1]));
  }
  return 0;
}
