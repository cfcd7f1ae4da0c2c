// `zelvox simulate`: co-simulates one FMU with the JVM in this process, from the options to the
// summary.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>

#include "base/failure.h"
#include "base/file_content.h"
#include "base/installation.h"
#include "base/interrupts.h"
#include "base/overwriting.h"
#include "base/temporary_directory.h"
#include "base/text.h"
#include "commands/command.h"
#include "fmu_file/archive_reader.h"
#include "fmu_file/description_reader.h"
#include "importer/binary.h"
#include "importer/simulation.h"
#include "jvm/find.h"
#include "jvm/options.h"
#include "jvm/start.h"
#include "packer/model_input.h"

namespace fs = std::filesystem;

namespace {

struct Options {
  ModelInput input;
  SimulationOptions run;
  std::vector<fs::path> classPath;
  std::vector<std::string> jvmOptions;
};

JNIEnv* startJvmWith(const Options& options) {
  std::vector<fs::path> classPath = {zelvoxJar()};
  classPath.insert(classPath.end(), options.classPath.begin(), options.classPath.end());
  nowWaitingFor("the JVM to start");
  return startJvm(locateJvm().libjvm, jvmOptions(classPath, options.jvmOptions));
}

// Whatever the FMU: one whose binary speaks of libjvm.so needs a JVM, and its class path must have
// our simulation object before any of its code runs.
bool needsJvm(const fs::path& binary) {
  return fileContent(binary).find("libjvm.so") != std::string::npos;
}

void simulate(const Options& options) {
  if (!options.run.plotFile.empty() && !isPictureFile(options.run.plotFile))
    throw Failure(
        "--plot-file " + options.run.plotFile.string() + ": expected a name with .svg or .png",
        ExitCode::usage);
  std::vector<NamedFile> read = filesOf(options.input);
  read.push_back({"--input-file", options.run.inputFile});
  for (const fs::path& path : options.classPath) read.push_back({"--class-path", path});
  refuseOverwriting(
      read, {{"--output-file", options.run.outputFile}, {"--plot-file", options.run.plotFile}});
  catchInterrupts();
  const TemporaryDirectory directory;
  JNIEnv* jvm = nullptr;
  const fs::path fmu = fmuOf(options.input, [&] { return jvm = startJvmWith(options); });
  nowWaitingFor("the FMU to be unpacked");
  unpackArchive(fmu, directory.path());
  nowWaitingFor("the run to be prepared");
  const fs::path descriptionFile = directory.path() / "modelDescription.xml";
  if (!fs::is_regular_file(descriptionFile))
    throw Failure(fmu.string() + " is no FMU: there is no modelDescription.xml in it");
  const ModelDescription model = readModelDescription(fileContent(descriptionFile));
  if (!model.coSimulation)
    throw Failure(fmu.string() + " is for model exchange only, expected co-simulation");

  Simulation simulation(options.run, model);
  const fs::path binary = fmuBinary(directory.path(), model);
  if (jvm == nullptr && needsJvm(binary)) startJvmWith(options);
  simulation.run(directory.path());
  if (!options.run.quiet) simulation.summarize();
  if (interrupted() != 0)
    throw Failure("the run stopped at t=" + numberText(simulation.endTime()) +
                  (simulation.wroteRows()
                       ? "; the rows so far are in " + options.run.outputFile.string()
                       : std::string()));
  if (options.run.plotFile.empty()) return;
  nowWaitingFor("the picture to be drawn");
  simulation.draw();
  if (!options.run.quiet)
    std::printf("Drew %s\n", printable(options.run.plotFile.string()).c_str());
}

constexpr const char* examples = R"(
Examples:
  zelvox simulate motor.fmu
  zelvox simulate Tank.java --plot-file tank.svg
  zelvox simulate motor.fmu --stop-time 2 --start-value R=0.8 --output-file motor.csv
  zelvox simulate motor.fmu --input-file inputs.csv --output-variable speed --plot-file motor.svg

An input file is a comma-separated table, for instance a voltage that jumps at 0.1 s:
  "time","voltage"
  0,0
  0.1,0
  0.1,12
Real inputs are interpolated linearly between rows and hold before the first and behind the last.

A table or picture that exists is replaced when the run is over. Until then the rows are in
NAME.part-XXXXXX beside it, at most a second late, and stay there when zelvox is killed. Ctrl-C (exit
code 130), SIGTERM, SIGHUP, SIGQUIT and SIGXFSZ (128 + their number) and a step that fails end the run
in order: the rows so far become the table. A step that has not come back two seconds after the
signal is left alone.)";

}  // namespace

void addSimulateCommand(CLI::App& app) {
  auto options = std::make_shared<Options>();
  CLI::App* const command =
      app.add_subcommand("simulate", "Co-simulate an FMU, with a JVM in this process");
  command->footer(examples);
  command
      ->add_option("fmu", options->input.model,
                   "The FMU, a .fmu file of FMI 2.0; or a model, which is packed first")
      ->required()
      ->type_name("FMU");

  const std::string run = "The run";
  command
      ->add_option("--start-time", options->run.time.startTime,
                   "Where the run starts [FMU's default, 0]")
      ->type_name("SECONDS")
      ->group(run);
  command
      ->add_option("--stop-time", options->run.time.stopTime,
                   "Where it ends [FMU's default, start + 1]")
      ->type_name("SECONDS")
      ->group(run);
  command
      ->add_option("--output-interval", options->run.time.outputInterval,
                   "Step and distance of the rows [FMU's default, 1/500 of the run]")
      ->type_name("SECONDS")
      ->group(run);
  command
      ->add_option("--start-value", options->run.startValues,
                   "Value of an input or a parameter at the start; repeatable")
      ->allow_extra_args(false)
      ->type_name("NAME=VALUE")
      ->group(run);
  command->add_option("--input-file", options->run.inputFile, "Inputs over time, see below")
      ->type_name("CSV")
      ->group(run);

  const std::string results = "Results";
  command->add_option("--output-file", options->run.outputFile, "Write the result as a table")
      ->type_name("CSV")
      ->group(results);
  command
      ->add_option("--output-variable", options->run.outputVariables,
                   "A variable for the result; repeatable [all outputs]")
      ->allow_extra_args(false)
      ->type_name("NAME")
      ->group(results);
  command
      ->add_option("--plot-file", options->run.plotFile,
                   "Draw the result (.svg or .png; needs gnuplot)")
      ->type_name("FILE")
      ->group(results);
  command
      ->add_flag("--fail-on-nan", options->run.failOnNan,
                 "End with exit code 1 when a result is NaN or infinite [a warning]")
      ->group(results);
  command->add_flag("--quiet", options->run.quiet, "No summary and no progress bar")
      ->group(results);

  const std::string insight = "Insight";
  command
      ->add_flag("--logging-on", options->run.logging.messages, "Show the FMU's messages on stderr")
      ->group(insight);
  command->add_flag("--log-fmi-calls", options->run.logging.calls, "Show every FMI call on stderr")
      ->group(insight);

  addModelOptions(*command, options->input);
  addJvmOptions(*command, options->classPath, options->jvmOptions);
  command->callback([options] { simulate(*options); });
}
