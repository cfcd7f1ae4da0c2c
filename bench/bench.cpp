// How much of an operation is the library's own share: measures it side by side with bare JNI calls
// and prints tables for docs/performance.md.
//
//   bench [--rounds=N] [--pool=FILE] [--data=FILE] [--benchmark_filter=REGEX]
//
// With a pool, each process prints the figures so far.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "cases.h"
#include "importer.h"
#include "tables.h"

namespace {

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
