#include <algorithm>
#include <deque>
#include <numeric>
#include <string>
#include <thread>

#include "bare_calls.h"
#include "cases.h"
#include "importer.h"

namespace {

using References = std::vector<fmi2ValueReference>;

// One instance in the three variants, and what is set and read.
struct Subject {
  Subject(std::size_t inputs, std::size_t outputs, const std::string& name, bool logging = false)
      : component(startInstance(modelName(inputs, outputs, name), logging)),
        bare(modelName(inputs, outputs, name), inputs, outputs, logging),
        floor(modelName(inputs, outputs, name), inputs, outputs, logging),
        inputReferences(inputs),
        outputReferences(outputs),
        values(std::max(inputs, outputs), 1.5) {
    std::iota(inputReferences.begin(), inputReferences.end(), 2 * outputs);
    std::iota(outputReferences.begin(), outputReferences.end(), 0u);
  }

  fmi2Component component;
  BareInstance bare;
  FloorInstance floor;
  References inputReferences, outputReferences;
  std::vector<double> values;
};

// The operations by variant.
struct LibraryCalls {
  static void set(Subject& s, std::size_t count) {
    check(library().setReal(s.component, s.inputReferences.data(), count, s.values.data()));
  }
  static void get(Subject& s, std::size_t count) {
    check(library().getReal(s.component, s.outputReferences.data(), count, s.values.data()));
  }
  static void step(Subject& s) { check(library().doStep(s.component, 0.0, 0.001, fmi2True)); }
};

template <auto Subject::*instance>
struct OtherCalls {
  static void set(Subject& s, std::size_t count) {
    (s.*instance).setReal(s.inputReferences.data(), count, s.values.data());
  }
  static void get(Subject& s, std::size_t count) {
    (s.*instance).getReal(s.outputReferences.data(), count, s.values.data());
  }
  static void step(Subject& s) { (s.*instance).doStep(0.0, 0.001); }
};

// `operation` is called as operation(Calls(), subject), with one of the three as Calls.
template <class Operation>
std::vector<Loop> threeVariants(Operation operation) {
  return {timed([=]() mutable { operation(LibraryCalls()); }),
          timed([=]() mutable { operation(OtherCalls<&Subject::bare>()); }),
          timed([=]() mutable { operation(OtherCalls<&Subject::floor>()); })};
}

std::vector<Loop> steps(Subject& subject) {
  return threeVariants([&subject](auto calls) { calls.step(subject); });
}

std::vector<Loop> sets(Subject& subject, std::size_t count) {
  return threeVariants([&subject, count](auto calls) { calls.set(subject, count); });
}

std::vector<Loop> gets(Subject& subject, std::size_t count) {
  return threeVariants([&subject, count](auto calls) { calls.get(subject, count); });
}

std::vector<Loop> cycles(Subject& subject) {
  return threeVariants([&subject](auto calls) {
    calls.set(subject, subject.inputReferences.size());
    calls.step(subject);
    calls.get(subject, subject.outputReferences.size());
  });
}

// Each step goes to the next one of the instances.
std::vector<Loop> stepsInTurn(std::deque<Subject>& subjects) {
  return threeVariants([&subjects, next = std::size_t{0}](auto calls) mutable {
    calls.step(subjects[next]);
    next = next + 1 == subjects.size() ? 0 : next + 1;
  });
}

std::vector<Loop> allOnForeignThread(std::vector<Loop> variants) {
  // The floor is attached before its clock starts.
  variants[2] = [floor = std::move(variants[2])](long times) {
    attachForGood();
    return floor(times);
  };
  for (Loop& variant : variants) variant = onForeignThread(std::move(variant));
  return variants;
}

}  // namespace

Loop onForeignThread(Loop loop) {
  return [loop = std::move(loop)](long times) {
    double nanoseconds = 0.0;
    std::thread([&] {
      nanoseconds = loop(times);
      jvm()->DetachCurrentThread();  // for loops that attach for good
    }).join();
    return nanoseconds;
  };
}

std::vector<Case> operationCases() {
  static std::deque<Subject> models;
  const auto model = [](std::size_t inputs, std::size_t outputs, const char* name,
                        bool logging = false) -> Subject& {
    return models.emplace_back(inputs, outputs, name, logging);
  };
  Subject& small = model(3, 2, "small");
  Subject& wide = model(1000, 1000, "wide");
  Subject& loggingSmall = model(3, 2, "logging", true);
  Subject& loggingWide = model(1000, 1000, "logging", true);
  static std::deque<Subject> hundred, thousand;
  for (int i = 0; i < 100; ++i) hundred.emplace_back(3, 2, "hundred" + std::to_string(i));
  for (int i = 0; i < 1000; ++i) thousand.emplace_back(3, 2, "thousand" + std::to_string(i));
  return {
      {"fmi2DoStep, 3 inputs and 2 outputs", steps(small), 1.05, 3},
      {"fmi2DoStep, 10 and 10", steps(model(10, 10, "")), 0.0, 10},
      {"fmi2DoStep, 100 and 100", steps(model(100, 100, "")), 0.0, 100},
      {"fmi2DoStep, 1000 and 1000", steps(wide), 1.05, 1000},
      {"fmi2DoStep, 10000 and 10000", steps(model(10'000, 10'000, "")), 0.0, 10'000},
      {"fmi2DoStep, 100000 and 100000", steps(model(100'000, 100'000, "")), 1.08, 100'000},
      {"fmi2DoStep, 100 instances in turn", stepsInTurn(hundred)},
      {"fmi2DoStep, 1000 instances in turn", stepsInTurn(thousand)},
      {"fmi2SetReal of 1 value", sets(small, 1), 1.05},
      {"fmi2SetReal of 10 values", sets(wide, 10)},
      {"fmi2SetReal of 1000 values", sets(wide, 1000), 1.05},
      {"fmi2GetReal of 1 value", gets(small, 1)},
      {"fmi2GetReal of 10 values", gets(wide, 10)},
      {"fmi2GetReal of 1000 values", gets(wide, 1000), 1.3},
      {"set, step, get; 3 and 2", cycles(small)},
      {"set, step, get; 1000 and 1000", cycles(wide)},
      {"logging: fmi2DoStep, 3 and 2", steps(loggingSmall)},
      {"logging: fmi2SetReal of 1000 values", sets(loggingWide, 1000)},
      {"logging: set, step, get; 3 and 2", cycles(loggingSmall)},
      {"not attached: fmi2DoStep, 3 and 2", allOnForeignThread(steps(small))},
      {"not attached: fmi2SetReal of 1 value", allOnForeignThread(sets(small, 1))},
      {"not attached: fmi2SetReal of 1000 values", allOnForeignThread(sets(wide, 1000))},
      {"not attached: fmi2GetReal of 1 value", allOnForeignThread(gets(small, 1))},
      {"not attached: set, step, get; 3 and 2", allOnForeignThread(cycles(small))},
  };
}
