// `zelvox batch`: runs one FMU many times, with the JVM in this process, from the options to the
// count of the runs that failed.
#include "runs/batch.h"

#include "commands/commands.h"
#include "commands/options.h"
#include "commands/ready_fmu.h"
#include "ending/failure.h"
#include "ending/interrupts.h"
#include "files/at_start.h"
#include "files/overwriting.h"
#include "jvm/choice.h"
#include "words/text.h"

namespace {

struct Options {
  FmuOptions fmu;
  BatchOptions batch;
  std::string record;
  bool show = false;
};

void runBatch(Options& options) {
  BatchOptions& batch = options.batch;
  if (!options.record.empty()) batch.record = parseRecord(CLI::detail::split(options.record, ','));
  std::vector<NamedFile> read = filesOf(options.fmu);
  read.push_back({"--input-file", batch.experiment.inputFile});
  const bool toStdout = isStandardOutput(batch.outputFile);
  if (batch.runs != "-") read.push_back({"--runs", batch.runs});
  if (!toStdout) refuseOverwriting(read, {{"--output-file", batch.outputFile}});
  catchInterrupts();
  if (toStdout) keepStandardOutputForResult();
  if (batch.runs == "-") keepStandardInputForRuns();
  std::vector<std::string>& jvm = options.fmu.jvm.options;
  const std::vector<std::string> heap = smallHeapOptions(jvm);
  jvm.insert(jvm.begin(), heap.begin(), heap.end());
  ReadyFmu fmu(options.fmu);
  Batch runs(batch, fmu.description());
  if (options.show) return runs.show();
  fmu.startJvmIfNeeded();
  // A reset instance of a Java model has a new object of it. A new instance would also load the
  // model's classes anew, as they go with the last instance.
  runs.run(fmu.path(), fmu.usesJvm());
  if (!batch.quiet && !toStdout) runs.summarize();
  if (interrupted() != 0)
    throw Failure("the batch stopped after " + counted(runs.runs(), "run") +
                  (runs.wroteRows() && !toStdout
                       ? "; the rows so far are in " + nameOfTable(batch.outputFile)
                       : ""));
  if (runs.failedRuns() > 0)
    throw Failure(std::to_string(runs.failedRuns()) + " of " + counted(runs.runs(), "run") +
                  " failed, see the " +
                  (batch.record.all && !batch.record.errors
                       ? "messages above"
                       : "column error of " + nameOfTable(batch.outputFile)) +
                  "; the first one: " + runs.firstFailure());
}

constexpr const char* examples = R"(
Examples:
  zelvox batch motor.fmu --runs runs.csv --output-file results.csv
  zelvox batch Tank.java --runs runs.csv --record minimum,maximum --output-file results.csv
  ./next.py | zelvox batch motor.fmu --runs - --output-file -

The runs are a comma-separated table with a column for each input or parameter that differs:
  "voltage","R"
  12,0.5
  24,0.5
An input keeps its value over the run. What else is set holds for all runs: --start-value, and inputs
over time by --input-file, a table as for zelvox simulate. A column "run" gives the runs other numbers than 1, 2, 3.

The result has one row a run: run, the row of --runs, the outputs at the end (NAME.final where NAME
is a column already), error. --record minimum,maximum,mean,final, or some of them, has the columns
NAME.minimum and so on, over the rows that zelvox simulate writes; the mean is weighted by time, with straight
lines between them, and texts have no more than NAME.final. --record all writes these rows, as
run, time and the outputs. With --record all,error these rows have a column error, too, and each run ends with a
row that has only its number and the error, empty for a good run: who reads it knows that the run is complete.

Between two runs the FMU is reset, and a run that fails does not end the others: its reason is in the
column error (with --record all on stderr), and the exit code is 1 at the end. A wrong cell in a
file is told before the first run. Rows from stdin are run as they come, and their results are
written at once.

A table that exists is replaced when the runs are over. Until then the rows are in NAME.part-XXXXXX
beside it, at most a second late. Ctrl-C and the like end the batch in order: the rows of the runs
that are over become the table.)";

}  // namespace

void addBatchCommand(CLI::App& app) {
  const auto [command, options] =
      addCommand(app, "batch", "Co-simulate an FMU many times, with a JVM in this process",
                 examples, runBatch);
  addOption(command, "--runs", options.batch.runs, "CSV", "What differs in each run; - for stdin")
      ->required();
  addFmuOptions(command, options.fmu);
  addExperimentOptions(command, options.batch.experiment);
  addOption(command, "--output-file", options.batch.outputFile, "CSV",
            "The table to write; - for stdout")
      ->required();
  addOption(command, "--record", options.record, "LIST",
            "What the table has of a run: all, or all,error, or some of minimum,maximum,mean,final "
            "[final]");
  command.add_flag("--fail-on-nan", options.batch.failOnNan,
                   "A run fails when a recorded result is NaN or infinite [a warning]");
  command.add_flag("--quiet", options.batch.quiet, "No summary and no progress bar");
  command.add_flag("--dry-run", options.show,
                   "Check everything and write the runs as they were understood; make none");
  addLoggingOptions(command, options.batch.logging);
}
