// How much of an operation is the library's own share: measures it side by side with bare JNI calls
// and prints tables for docs/performance.md.
//
//   bench [--rounds=N] [--pool=FILE] [--data=FILE] [--benchmark_filter=REGEX]
//
// Machines are noisy, so ratios are taken within short rounds: each one runs every variant of a
// case as often as the first one can in about half a millisecond. What is printed is the median of
// the rounds' ratios. Where code and data happen to lie decides a few hundredths for the whole life
// of a process, so several processes one after another may pool their rounds in a file; each prints
// the figures so far.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <numeric>
#include <random>
#include <sstream>
#include <string>
#include <string_view>
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

// On a thread that the JVM does not know.
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

// --- Measuring ---------------------------------------------------------------------------------

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
  std::vector<Spread> ratios;       // of the first variant to each other one
};

using Round = std::vector<double>;  // nanoseconds of an operation, by variant

std::map<std::string, std::vector<Round>> rounds;  // by name of the case

Spread spreadOf(std::vector<double> values) {
  std::ranges::sort(values);
  const auto at = [&](double share) {
    return values[static_cast<std::size_t>(share * static_cast<double>(values.size() - 1) + 0.5)];
  };
  return {at(0.25), at(0.5), at(0.75)};
}

Result resultOf(const std::vector<Round>& measured) {
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

// Lines of a name and the nanoseconds of one round. There need be no file yet.
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

// --- Cases: the library, bare calls, the floor --------------------------------------------------

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

std::vector<Loop> onForeignThread(std::vector<Loop> variants) {
  // The floor is attached before its clock starts.
  variants[2] = [floor = std::move(variants[2])](long times) {
    attachForGood();
    return floor(times);
  };
  for (Loop& variant : variants) variant = onForeignThread(std::move(variant));
  return variants;
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
      {"fmi2DoStep, 1000 and 1000", steps(wide), 1.10, 1000},
      {"fmi2DoStep, 10000 and 10000", steps(model(10'000, 10'000, "")), 0.0, 10'000},
      {"fmi2DoStep, 100000 and 100000", steps(model(100'000, 100'000, "")), 1.20, 100'000},
      {"fmi2DoStep, 100 instances in turn", stepsInTurn(hundred)},
      {"fmi2DoStep, 1000 instances in turn", stepsInTurn(thousand)},
      {"fmi2SetReal of 1 value", sets(small, 1), 1.05},
      {"fmi2SetReal of 10 values", sets(wide, 10)},
      {"fmi2SetReal of 1000 values", sets(wide, 1000), 1.05},
      {"fmi2GetReal of 1 value", gets(small, 1)},
      {"fmi2GetReal of 10 values", gets(wide, 10)},
      {"fmi2GetReal of 1000 values", gets(wide, 1000)},
      {"set, step, get; 3 and 2", cycles(small)},
      {"set, step, get; 1000 and 1000", cycles(wide)},
      {"logging: fmi2DoStep, 3 and 2", steps(loggingSmall)},
      {"logging: fmi2SetReal of 1000 values", sets(loggingWide, 1000)},
      {"logging: set, step, get; 3 and 2", cycles(loggingSmall)},
      {"not attached: fmi2DoStep, 3 and 2", onForeignThread(steps(small))},
      {"not attached: fmi2SetReal of 1 value", onForeignThread(sets(small, 1))},
      {"not attached: fmi2SetReal of 1000 values", onForeignThread(sets(wide, 1000))},
      {"not attached: fmi2GetReal of 1 value", onForeignThread(gets(small, 1))},
      {"not attached: set, step, get; 3 and 2", onForeignThread(cycles(small))},
  };
}

// --- Cases: each JNI call alone -----------------------------------------------------------------

std::vector<Case> callCases() {
  JNIEnv* const env = attachForGood();
  const jobject sim = prepareBareCalls();
  const auto simClass = static_cast<jclass>(env->NewGlobalRef(env->GetObjectClass(sim)));
  const auto kept = [env](auto local) {
    return static_cast<decltype(local)>(env->NewGlobalRef(local));
  };
  const std::string name = modelName(3, 2, "small");
  const jstring nameText = kept(env->NewStringUTF(name.c_str()));
  const jstring key = kept(env->NewStringUTF("number_of_inputs"));
  const jdoubleArray array = kept(env->NewDoubleArray(3));
  const jmethodID getProp = env->GetMethodID(simClass, "getProp", getPropSignature);
  const jmethodID step = env->GetMethodID(simClass, "doStepModel", "(Ljava/lang/String;DD[D)Z");
  const auto one = [](const char* what, int timesPerStep, auto operation) {
    return Case{what, {timed(operation)}, 0.0, 0.0, timesPerStep};
  };
  std::vector<Case> cases = {
      one("JNI_GetCreatedJavaVMs, twice", 3,
          [] {
            JavaVM* vm = nullptr;
            jsize count = 0;
            JNI_GetCreatedJavaVMs(nullptr, 0, &count);
            JNI_GetCreatedJavaVMs(&vm, 1, &count);
          }),
      one("GetEnv", 3,
          [] {
            void* found = nullptr;
            jvm()->GetEnv(&found, JNI_VERSION_1_8);
          }),
      one("FindClass", 3, [=] { env->DeleteLocalRef(env->FindClass(simClassName)); }),
      one("GetMethodID", 4,
          [=] {
            benchmark::DoNotOptimize(env->GetMethodID(simClass, "getProp", getPropSignature));
          }),
      one("NewStringUTF", 6, [=] { env->DeleteLocalRef(env->NewStringUTF(name.c_str())); }),
      one("GetStringUTFChars and its release", 2,
          [=] { env->ReleaseStringUTFChars(key, env->GetStringUTFChars(key, nullptr)); }),
      one("NewDoubleArray of 3", 1, [=] { env->DeleteLocalRef(env->NewDoubleArray(3)); }),
      one("SetDoubleArrayRegion of 3", 1,
          [=] {
            constexpr std::array<double, 3> values = {1, 2, 3};
            env->SetDoubleArrayRegion(array, 0, 3, values.data());
          }),
      one("GetDoubleArrayElements of 3 and their release", 1,
          [=] {
            env->ReleaseDoubleArrayElements(array, env->GetDoubleArrayElements(array, nullptr), 0);
          }),
      one("ExceptionCheck", 5, [=] { benchmark::DoNotOptimize(env->ExceptionCheck()); }),
      one("CallObjectMethod", 3,
          [=] { env->DeleteLocalRef(env->CallObjectMethod(sim, getProp, nameText, key)); }),
      one("CallBooleanMethod", 1,
          [=] { env->CallBooleanMethod(sim, step, nameText, 0.0, 0.001, array); }),
  };
  cases.push_back({"AttachCurrentThread and DetachCurrentThread", {onForeignThread(timed([] {
                     attachForGood();
                     jvm()->DetachCurrentThread();
                   }))}});
  return cases;
}

// --- Cases: the Java side -----------------------------------------------------------------------

// Of zelvox.jar, whose simulation object has the class name of the double: a class loader of its
// own keeps the two apart.
std::vector<Case> javaCases() {
  JNIEnv* const env = attachForGood();
  const jclass urlClass = env->FindClass("java/net/URL");
  const jmethodID newUrl = env->GetMethodID(urlClass, "<init>", "(Ljava/lang/String;)V");
  std::vector<jobject> urls;
  for (std::string_view jars = MODEL_JARS; !jars.empty();) {
    const std::string jar = "file:" + std::string(jars.substr(0, jars.find(':')));
    urls.push_back(env->NewObject(urlClass, newUrl, env->NewStringUTF(jar.c_str())));
    jars.remove_prefix(std::min(jars.size(), jar.size() - 4));
  }
  const jobjectArray array =
      env->NewObjectArray(static_cast<jsize>(urls.size()), urlClass, nullptr);
  for (std::size_t i = 0; i < urls.size(); ++i)
    env->SetObjectArrayElement(array, static_cast<jsize>(i), urls[i]);
  const jclass loaderClass = env->FindClass("java/net/URLClassLoader");
  const jobject loader = env->NewObject(
      loaderClass,
      env->GetMethodID(loaderClass, "<init>", "([Ljava/net/URL;Ljava/lang/ClassLoader;)V"), array,
      nullptr);
  const auto loops = static_cast<jclass>(env->NewGlobalRef(env->CallObjectMethod(
      loader, env->GetMethodID(loaderClass, "loadClass", "(Ljava/lang/String;)Ljava/lang/Class;"),
      env->NewStringUTF("StepLoops"))));
  const auto loop = [=](const char* method) {
    const jmethodID found =
        loops == nullptr ? nullptr : env->GetStaticMethodID(loops, method, "(J)J");
    return Loop([=](long times) {
      const jlong spent =
          found == nullptr ? 0 : env->CallStaticLongMethod(loops, found, static_cast<jlong>(times));
      if (found == nullptr || env->ExceptionCheck()) {
        env->ExceptionDescribe();
        fail("the demonstration model does not step");
      }
      return static_cast<double>(spent);
    });
  };
  return {{"a step of the demonstration model", {loop("hosted"), loop("direct")}, 1.10}};
}

// --- Printing -----------------------------------------------------------------------------------

std::string text(const char* format, auto... values) {
  std::array<char, 128> buffer;
  std::snprintf(buffer.data(), buffer.size(), format, values...);
  return buffer.data();
}

std::string duration(double nanoseconds) {
  if (nanoseconds < 999.5) return text(nanoseconds < 10 ? "%.1f ns" : "%.0f ns", nanoseconds);
  const double microseconds = nanoseconds / 1e3;
  return text(microseconds < 100 ? "%.2f µs" : "%.0f µs", microseconds);
}

std::string ratio(const Spread& s) {
  return text("**%.2f** (%.2f–%.2f)", s.median, s.low, s.high);
}

// The cases that ran, which a filter may have made fewer.
template <class Print>
void forEachResult(const std::vector<Case>& cases, Print print) {
  for (const Case& c : cases)
    if (const auto found = rounds.find(c.name); found != rounds.end())
      print(c, resultOf(found->second));
}

void printOperations(const std::vector<Case>& cases) {
  std::printf("| operation | (a) | (b) | (c) | (a)/(b) | target | (a)/(c) |\n");
  std::printf("|---|---:|---:|---:|---:|---:|---:|\n");
  forEachResult(cases, [](const Case& c, const Result& result) {
    std::printf("| %s |", c.name.c_str());
    for (const double n : result.nanoseconds) std::printf(" %s |", duration(n).c_str());
    std::printf(" %s | %s | %s |\n", ratio(result.ratios[0]).c_str(),
                c.target > 0 ? text("%.2f", c.target).c_str() : "",
                ratio(result.ratios[1]).c_str());
  });
}

void printCalls(const std::vector<Case>& cases) {
  std::printf("\n| call | alone | times in a step | together |\n|---|---:|---:|---:|\n");
  double total = 0.0;
  forEachResult(cases, [&total](const Case& c, const Result& result) {
    const double each = result.nanoseconds[0];
    total += each * c.timesPerStep;
    std::printf("| %s | %s | %s | %s |\n", c.name.c_str(), duration(each).c_str(),
                c.timesPerStep > 0 ? text("%d", c.timesPerStep).c_str() : "",
                c.timesPerStep > 0 ? duration(each * c.timesPerStep).c_str() : "");
  });
  std::printf("| all of a step | | | %s |\n", duration(total).c_str());
}

void printJava(const std::vector<Case>& cases) {
  std::printf("\n| Java side | through ZelvoxSim | called directly | ratio | target |\n");
  std::printf("|---|---:|---:|---:|---:|\n");
  forEachResult(cases, [](const Case& c, const Result& result) {
    std::printf("| %s | %s | %s | %s | %.2f |\n", c.name.c_str(),
                duration(result.nanoseconds[0]).c_str(), duration(result.nanoseconds[1]).c_str(),
                ratio(result.ratios[0]).c_str(), c.target);
  });
}

// For the chart: times by width, and behind two empty lines the ratios with their targets.
void writeData(const char* file, const std::vector<Case>& cases) {
  std::FILE* const out = std::fopen(file, "w");
  if (out == nullptr) fail(std::string("cannot write ") + file);
  forEachResult(cases, [out](const Case& c, const Result& result) {
    if (c.width > 0)
      std::fprintf(out, "%g\t%g\t%g\t%g\n", c.width, result.nanoseconds[0], result.nanoseconds[1],
                   result.nanoseconds[2]);
  });
  std::fprintf(out, "\n\n");
  forEachResult(cases, [out](const Case& c, const Result& result) {
    const Spread& spread = result.ratios[0];
    std::fprintf(out, "\"%s\"\t%g\t%g\t%g\t%s\n", c.name.c_str(), spread.low, spread.median,
                 spread.high, c.target > 0 ? text("%g", c.target).c_str() : "NaN");
  });
  if (std::fclose(out) != 0) fail(std::string("cannot write ") + file);
}

// The rest is printed as tables at the end.
class Progress : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context&) override { return true; }
  void ReportRuns(const std::vector<Run>& runs) override {
    std::fprintf(stderr, "%s\n", runs[0].run_name.function_name.c_str());
  }
};

}  // namespace

int main(int argc, char* argv[]) {
  benchmark::Initialize(&argc, argv);
  long roundsEach = 2001;
  std::string dataFile, poolFile;
  for (int i = 1; i < argc; ++i) {
    const std::string argument = argv[i];
    if (argument.starts_with("--rounds="))
      roundsEach = std::max(1L, std::atol(argument.c_str() + std::strlen("--rounds=")));
    else if (argument.starts_with("--pool="))
      poolFile = argument.substr(std::strlen("--pool="));
    else if (argument.starts_with("--data="))
      dataFile = argument.substr(std::strlen("--data="));
    else
      fail("unknown argument " + argument);
  }
  if (!poolFile.empty()) readPool(poolFile);
  startJvm({"-Xms512m", "-Xmx512m"});
  std::vector<Case> calls = callCases();
  const std::vector<Case> operations = operationCases();
  const std::vector<Case> java = javaCases();
  for (const auto* cases : {&operations, &std::as_const(calls), &java})
    for (const Case& c : *cases)
      benchmark::RegisterBenchmark(c.name.c_str(),
                                   [&c](benchmark::State& state) { measure(state, c); })
          ->UseManualTime()
          ->Iterations(roundsEach);
  Progress progress;
  benchmark::RunSpecifiedBenchmarks(&progress);
  if (!poolFile.empty()) writePool(poolFile);
  printOperations(operations);
  printCalls(calls);
  printJava(java);
  if (!dataFile.empty()) writeData(dataFile.c_str(), operations);
  return 0;
}
