// Many runs of an FMU in this process, as a table says them: the FMU is loaded and instantiated
// once, and reset between two runs. Each run sets all that the table has a column for, so that
// nothing of the run before stays.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "experiment/experiment.h"
#include "experiment/run.h"
#include "output/result_table.h"
#include "runs/run_record.h"
#include "tables/run_table.h"

struct BatchOptions : RunOptions {
  std::filesystem::path runs;  // "-" is stdin
  RecordOptions record;
};

class Batch {
 public:
  // Throws Failure for what the FMU does not have, and for a file of runs that has something wrong
  // in it. Both arguments must outlive the object.
  Batch(const BatchOptions& options, const ModelDescription& model);

  // All runs, until the user interrupts. A run that fails is followed by a new instance, which
  // leaves nothing to chance, or if `resetAlways` by a reset, as every other run is. When something
  // ends the whole, the rows so far become the table.
  void run(const std::filesystem::path& directory, bool resetAlways);
  // Writes the runs as they were understood, with their numbers, and makes none.
  void show();
  void summarize() const;

  long long runs() const { return runsDone; }
  long long failedRuns() const { return runsFailed; }
  const std::string& firstFailure() const { return firstReason; }
  bool wroteRows() const { return output && output->hasRows(); }

 private:
  void openTable(const std::vector<std::string>& names);
  std::vector<std::string> resultColumns() const;
  void runAll();
  // False when the user interrupted the run.
  bool runOnce();
  void prepareInstance();
  void observe(double time);
  void noteEndByFmu(double time);
  void writeRow(const std::string& error);

  const BatchOptions& options;
  Experiment experiment;
  RunTable table;
  const std::size_t fixedValues;  // start values of all runs; those of a row come behind them
  VariableGroup point;
  FiniteCheck finite;
  RunRecord record;

  std::filesystem::path directory;
  bool resetAlways = false;
  std::optional<LoadedFmu> instance;
  bool instanceUsed = false;

  RunRow row;  // of the current run
  std::optional<ResultTable> output;

  long long runsDone = 0, runsFailed = 0;
  double wallTime = 0.0;                // of the runs, in seconds
  std::string firstReason, lastReason;  // of runs that failed; the last is empty if it did not
  bool warnedOfEnd = false;             // of a run by the FMU, as others may end, too
};
