// `zelvox simulate`: co-simulates one FMU with the JVM in this process, from the options to the
// summary.
#include <cstdio>

#include "commands/commands.h"
#include "commands/options.h"
#include "commands/ready_fmu.h"
#include "ending/failure.h"
#include "ending/interrupts.h"
#include "files/at_start.h"
#include "files/overwriting.h"
#include "runs/simulation.h"
#include "words/numbers.h"
#include "words/text.h"

namespace fs = std::filesystem;

namespace {

struct Options {
  FmuOptions fmu;
  SimulationOptions run;
};

void simulate(Options& options) {
  FmuLogging& logging = options.run.logging;
  if (!options.run.logFile.empty() && !logging.calls) logging.messages = true;
  if (!options.run.plotFile.empty() && !isPictureFile(options.run.plotFile))
    throw Failure(
        "--plot-file " + options.run.plotFile.string() + ": expected a name with .svg or .png",
        ExitCode::usage);
  const bool toStandardOutput = isStandardOutput(options.run.outputFile);
  std::vector<NamedFile> read = filesOf(options.fmu);
  read.push_back({"--input-file", options.run.experiment.inputFile});
  refuseOverwriting(read,
                    {{"--output-file", toStandardOutput ? fs::path() : options.run.outputFile},
                     {"--plot-file", options.run.plotFile},
                     {"--log-file", options.run.logFile}});
  if (toStandardOutput) keepStandardOutputForResult();
  catchInterrupts();
  ReadyFmu fmu(options.fmu);
  Simulation simulation(options.run, fmu.description());
  fmu.startJvmIfNeeded();
  simulation.run(fmu.path());
  if (!options.run.quiet) simulation.summarize();
  if (interrupted() != 0)
    throw Failure("the run stopped at t=" + numberText(simulation.reachedTime()) +
                  (simulation.wroteRows()
                       ? "; the rows so far are in " + nameOfTable(options.run.outputFile)
                       : std::string()));
  if (options.run.plotFile.empty()) return;
  nowWaitingFor("the picture to be drawn");
  simulation.draw();
  if (!options.run.quiet)
    std::printf("Drew %s%s\n", printable(options.run.plotFile.string()).c_str(),
                simulation.inputsNotDrawn() == 0
                    ? ""
                    : (" without the " + counted(simulation.inputsNotDrawn(), "input")).c_str());
}

constexpr const char* examples = R"(
Examples:
  zelvox simulate motor.fmu
  zelvox simulate Tank.java --plot-file tank.svg
  zelvox simulate motor.fmu --stop-time 2 --start-value R=0.8 --output-file motor.csv
  zelvox simulate motor.fmu --input-file inputs.csv --output-variable speed --plot-file motor.svg

An input file is a table with commas, semicolons or tabs, for instance a voltage that jumps at 0.1 s:
  "time","voltage"
  0,0
  0.1,0
  0.1,12
Real inputs are interpolated linearly between rows and hold before the first and behind the last. A
picture shows them dashed. Between semicolons a decimal comma may stand.

With --output-file - nothing but the table is on stdout: all that is said, also by the model, goes
to stderr.

A table or picture that exists is replaced when the run is over. Until then the rows are in
NAME.part-XXXXXX beside it, at most a second late, and stay there when zelvox is killed. Ctrl-C (exit
code 130), SIGTERM, SIGHUP, SIGQUIT and SIGXFSZ (128 + their number) and a step that fails end the run
in order: the rows so far become the table. A step that has not come back two seconds after the
signal is left alone.)";

}  // namespace

void addSimulateCommand(CLI::App& app) {
  const auto [command, options] = addCommand(
      app, "simulate", "Co-simulate an FMU, with a JVM in this process", examples, simulate);
  addFmuOptions(command, options.fmu);
  addExperimentOptions(command, options.run.experiment);
  addOption(command, "--output-file", options.run.outputFile, "CSV",
            "Write the result as a table; - for stdout");
  addOption(command, "--plot-file", options.run.plotFile, "FILE",
            "Draw the result (.svg or .png; needs gnuplot)");
  command.add_flag("--fail-on-nan", options.run.failOnNan,
                   "End with exit code 1 when a result is NaN or infinite [a warning]");
  command.add_flag("--quiet", options.run.quiet, "No summary and no progress bar");
  addLoggingOptions(command, options.run.logging);
  addOption(command, "--log-file", options.run.logFile, "FILE",
            "Write them to a file instead, line by line; alone it takes the messages");
}
