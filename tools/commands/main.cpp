// The program `zelvox`: picks the command and turns what goes wrong into one sentence and an exit
// code.
#include <CLI/CLI.hpp>
#include <csignal>
#include <cstdio>
#include <exception>

#include "commands/commands.h"
#include "commands/usage.h"
#include "ending/failure.h"
#include "ending/interrupts.h"
#include "files/at_start.h"
#include "words/text.h"

namespace {

constexpr const char* examples = R"(
From a Java file to a picture, and to an FMU:
  zelvox new com.acme.Tank
  zelvox simulate Tank.java --plot-file tank.svg
  zelvox pack Tank.java
  zelvox info Tank.fmu
  zelvox simulate Tank.fmu --stop-time 2 --start-value inflow=0.4 --output-file tank.csv
  zelvox batch Tank.fmu --runs runs.csv --output-file results.csv

In an importer that knows nothing of Java, and when something does not work:
  zelvox exec -- fmpy simulate motor.fmu
  zelvox doctor

`zelvox COMMAND --help` shows the options of a command.

Exit codes: 0 success, 1 the work could not be done, 2 wrong command line, 3 no usable JVM,
128 + n ended by signal n (130 by Ctrl-C). `exec` ends with the exit code of its program.)";

int complain(const std::string& reason, ExitCode code) {
  const int signal = interrupted();
  const std::string cause = signal != 0 ? endedBy(signal) + ": " : "";
  std::fprintf(stderr, "zelvox: %s\n", sentence(cause + reason).c_str());
  return signal != 0 ? exitCodeOf(signal) : static_cast<int>(code);
}

int run(int argc, char* argv[]) {
  CLI::App app{"Packs Java models as FMUs (FMI 2.0, co-simulation) and runs FMUs with a JVM.",
               "zelvox"};
  app.set_version_flag("-V,--version", "zelvox " ZELVOX_VERSION, "Show the version and exit");
  app.set_help_flag("-h,--help", "Show this help and exit");
  app.require_subcommand(1);
  app.footer(examples);
  explainUsage(app);
  addNewCommand(app);
  addPackCommand(app);
  addInfoCommand(app);
  addSimulateCommand(app);
  addBatchCommand(app);
  addExecCommand(app);
  addDoctorCommand(app);
  addHelpCommand(app);
  refuseEmptyValues({argv + 1, argv + argc});
  refuseValueWithoutEqualsSign({argv + 1, argv + argc});
  try {
    app.parse(argc, argv);
    return static_cast<int>(ExitCode::success);
  } catch (const CLI::ParseError& error) {
    // --help and --version come this way too, with code 0.
    return static_cast<int>(app.exit(error) == 0 ? ExitCode::success : ExitCode::usage);
  }
}

// The exit code, whatever goes wrong.
int runToTheEnd(int argc, char* argv[]) {
  try {
    const int code = run(argc, argv);
    flushStandardOutput();
    // Only the thread that writes is told that a file could not grow, and code of an FMU may have
    // ignored it.
    if (interrupted() == SIGXFSZ)
      return complain("a file cannot grow any more (ulimit -f)", ExitCode::failed);
    return code;
  } catch (const std::exception& problem) {
    const Failure failure = failureOf(problem);
    return complain(failure.what(), failure.exitCode);
  } catch (...) {
    return complain("something went wrong that has no name", ExitCode::failed);
  }
}

}  // namespace

int main(int argc, char* argv[]) {
  rememberStartDirectory();
  occupyClosedStreams();
  const int code = runToTheEnd(argc, argv);
  endIsOurs = true;
  return code;
}
