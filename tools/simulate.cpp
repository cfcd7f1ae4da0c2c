// `zelvox simulate`: co-simulates one FMU with the JVM in this process, from the options to the
// summary. The rooms that it calls: fmu.h (the FMU), input_signals.h, variables.h, csv.h, plot.h.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <optional>

#include "archive.h"
#include "command.h"
#include "csv.h"
#include "fmu.h"
#include "input_signals.h"
#include "jvm.h"
#include "plot.h"
#include "text.h"
#include "variables.h"

namespace fs = std::filesystem;

namespace {

struct Options {
  fs::path fmu;
  std::optional<double> startTime, stopTime, outputInterval;
  std::vector<std::string> startValues;
  fs::path inputFile;
  std::vector<std::string> outputVariables;
  fs::path outputFile, plotFile;
  bool loggingOn = false;
  bool logFmiCalls = false;
  bool quiet = false;
  std::vector<fs::path> classPath;
  std::vector<std::string> jvmOptions;
};

// Ctrl-C ends the run between two steps. A second one ends the process as ever, for an FMU that
// hangs.
volatile std::sig_atomic_t interrupted = 0;

void catchInterrupts() {
  struct sigaction action {};
  action.sa_handler = [](int) { interrupted = 1; };
  action.sa_flags = static_cast<int>(SA_RESETHAND);
  for (const int signal : {SIGINT, SIGTERM}) sigaction(signal, &action, nullptr);
}

// The communication points: start + i * interval, so that nothing drifts, and the stop time, which
// the last step hits exactly.
class Grid {
 public:
  Grid(const Options& options, const ModelDescription& model) {
    start = options.startTime.value_or(model.startTime.value_or(0.0));
    stop = options.stopTime.value_or(model.stopTime.value_or(start + 1.0));
    if (!std::isfinite(start) || !std::isfinite(stop) || stop <= start)
      throw Failure("the run would go from " + numberText(start) + " to " + numberText(stop) +
                        ", expected a stop time behind the start time",
                    ExitCode::usage);
    interval = options.outputInterval.value_or(model.stepSize.value_or((stop - start) / 500.0));
    if (!std::isfinite(interval) || interval <= 0.0 || start + interval <= start ||
        stop - interval >= stop)
      throw Failure("the output interval is " + numberText(interval) +
                        ", expected a positive one that is not lost in the digits of the time",
                    ExitCode::usage);
    // A quotient that is a whole number but for its last digits is meant to be one.
    const double quotient = (stop - start) / interval;
    const double whole = std::round(quotient);
    steps = static_cast<long long>(
        std::abs(quotient - whole) < 1e-6 && whole > 0.0 ? whole : std::ceil(quotient));
  }

  double point(long long i) const {
    return i == steps ? stop : start + static_cast<double>(i) * interval;
  }

  // All steps have the same length but for the last, if the interval does not divide the run: some
  // FMUs refuse a length that differs in its last digits.
  double stepSize(long long i) const {
    const double rest = stop - point(steps - 1);
    return i == steps - 1 && std::abs(rest - interval) > 1e-6 * interval ? rest : interval;
  }

  double start, stop, interval;
  long long steps;
};

// A bar on stderr, drawn anew when it looks different; nothing where nobody watches.
class ProgressBar {
 public:
  explicit ProgressBar(const Options& options)
      : visible(isatty(STDERR_FILENO) != 0 && !options.quiet && !options.loggingOn &&
                !options.logFmiCalls) {}
  ~ProgressBar() {
    if (shownPercent >= 0) std::fputs("\r\x1b[K", stderr);
  }

  void show(long long done, long long all) {
    const int percent =
        static_cast<int>(100.0 * static_cast<double>(done) / static_cast<double>(all));
    if (!visible || percent == shownPercent) return;
    shownPercent = percent;
    constexpr int width = 40;
    const std::string bar(static_cast<std::size_t>(width * percent / 100), '#');
    std::fprintf(stderr, "\r[%-*s] %3d %%", width, bar.c_str(), percent);
  }

 private:
  bool visible;
  int shownPercent = -1;
};

// One run of an FMU: what the user wants to set and to know, and what came of it.
class Simulation {
 public:
  Simulation(const Options& given, const ModelDescription& description)
      : options(given),
        model(description),
        grid(options, model),
        names(model),
        observed(chooseObserved()),
        row(observed),
        started(chooseStarted()),
        startRow(started) {
    for (std::size_t i = 0; i < started.size(); ++i)
      startRow.values[i] = parseValue(*started[i], valueText(options.startValues[i]));
    if (!options.inputFile.empty()) inputs.emplace(model, readCsv(options.inputFile));
    if (!options.plotFile.empty()) chooseLines();
  }

  // From the instantiation to the release; ends early when the user interrupts it.
  void run(const fs::path& directory);
  void draw() const { drawPlot(options.plotFile, model.modelName, times, lines); }
  void summarize() const;
  double endTime() const { return lastTime; }

 private:
  std::vector<const ScalarVariable*> chooseObserved() const;
  std::vector<const ScalarVariable*> chooseStarted() const;
  static std::string valueText(const std::string& startValue) {
    return startValue.substr(startValue.find('=') + 1);
  }
  void chooseLines();
  void initialize(FmuInstance& instance);
  void step(FmuInstance& instance);
  void record(FmuInstance& instance, double time);

  const Options& options;
  const ModelDescription& model;
  Grid grid;
  VariableNames names;
  std::vector<const ScalarVariable*> observed;
  VariableGroup row;
  std::vector<const ScalarVariable*> started;
  VariableGroup startRow;
  std::optional<InputSignals> inputs;
  std::optional<CsvWriter> output;

  // What has happened.
  long long stepsDone = 0;
  double lastTime = 0.0;
  double wallTime = 0.0;  // of the steps, in seconds
  bool endedByFmu = false;
  std::vector<double> times;  // both for the picture only
  std::vector<PlotLine> lines;
};

std::vector<const ScalarVariable*> Simulation::chooseObserved() const {
  std::vector<const ScalarVariable*> chosen;
  for (const std::string& name : options.outputVariables)
    chosen.push_back(&names.find(name, "--output-variable", [](const auto&) { return true; }));
  if (!chosen.empty()) return chosen;
  for (const ScalarVariable& variable : model.variables)
    if (variable.causality == "output") chosen.push_back(&variable);
  return chosen;
}

std::vector<const ScalarVariable*> Simulation::chooseStarted() const {
  const auto settable = [](const ScalarVariable& variable) {
    return variable.causality == "input" || variable.causality == "parameter";
  };
  std::vector<const ScalarVariable*> chosen;
  for (const std::string& startValue : options.startValues) {
    const std::size_t equals = startValue.find('=');
    if (equals == std::string::npos)
      throw Failure("--start-value " + printable(startValue) + " has no value, expected NAME=VALUE",
                    ExitCode::usage);
    const ScalarVariable& variable =
        names.find(startValue.substr(0, equals), "--start-value", settable);
    if (!settable(variable))
      throw Failure("--start-value: '" + variable.name + "' is " + kindOf(variable) +
                    ", expected an input or a parameter");
    chosen.push_back(&variable);
  }
  return chosen;
}

void Simulation::chooseLines() {
  for (const ScalarVariable* variable : observed)
    if (variable->type != "String") lines.push_back({variable, {}});
  if (lines.empty() || lines.size() > mostPlotLines)
    throw Failure("cannot draw " + std::to_string(lines.size()) + " variables in " +
                  options.plotFile.string() + ", expected 1 to " + std::to_string(mostPlotLines) +
                  " with numbers; choose them with --output-variable");
}

void Simulation::run(const fs::path& directory) {
  FmuInstance instance(directory, model, {options.loggingOn, options.logFmiCalls});
  if (!options.outputFile.empty()) {
    std::vector<std::string> header;
    for (const ScalarVariable* variable : observed) header.push_back(variable->name);
    output.emplace(options.outputFile, header);
  }
  initialize(instance);
  record(instance, grid.start);
  ProgressBar progress(options);
  const auto begin = std::chrono::steady_clock::now();
  while (stepsDone < grid.steps && !endedByFmu && interrupted == 0) {
    step(instance);
    progress.show(stepsDone, grid.steps);
  }
  wallTime = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
  instance.terminate();
  if (output) output->close();
}

void Simulation::initialize(FmuInstance& instance) {
  instance.setupExperiment(model.tolerance, grid.start, grid.stop);
  startRow.writeTo(instance);
  instance.enterInitializationMode();
  if (inputs) inputs->writeTo(instance, grid.start);
  instance.exitInitializationMode();
}

void Simulation::step(FmuInstance& instance) {
  if (!instance.doStep(grid.point(stepsDone), grid.stepSize(stepsDone))) {
    endedByFmu = true;
    return;
  }
  ++stepsDone;
  const double time = grid.point(stepsDone);
  // Before the row is taken: what it says of an input is then what the next step starts from.
  if (inputs) inputs->writeTo(instance, time);
  record(instance, time);
}

void Simulation::record(FmuInstance& instance, double time) {
  lastTime = time;
  row.readFrom(instance);
  if (output) output->write(time, row.values);
  if (options.plotFile.empty()) return;
  times.push_back(time);
  auto line = lines.begin();
  for (const Cell& cell : row.values)
    if (const double* const number = std::get_if<double>(&cell))
      (line++)->values.push_back(*number);
}

void Simulation::summarize() const {
  std::printf("%s: %s from %.10g s to %.10g s in %.3g s", printable(model.modelName).c_str(),
              counted(stepsDone, "step").c_str(), grid.start, lastTime, wallTime);
  if (wallTime > 0.0) {
    const double factor = (lastTime - grid.start) / wallTime;
    std::printf(factor < 100.0 ? ", %.3g times real time" : ", %.0f times real time", factor);
  }
  std::printf("%s\n", endedByFmu ? "; the FMU ended the run" : "");

  constexpr std::size_t mostShown = 20;
  const std::size_t shown = std::min(observed.size(), mostShown);
  std::size_t width = 0;
  for (std::size_t i = 0; i < shown; ++i) width = std::max(width, widthOf(observed[i]->name));
  for (std::size_t i = 0; i < shown; ++i) {
    const double* const number = std::get_if<double>(&row.values[i]);
    const std::string value = number != nullptr ? "" : std::get<std::string>(row.values[i]);
    const std::string name = printable(observed[i]->name);
    std::printf("  %s ", padded(name, std::min<std::size_t>(width, 40)).c_str());
    if (number != nullptr) {
      std::printf("%14.8g  %s\n", *number, printable(observed[i]->unit).c_str());
    } else {
      std::printf("%s\n", printable(value).c_str());
    }
  }
  if (observed.size() > shown) std::printf("  and %zu more\n", observed.size() - shown);
  if (output)
    std::printf("Wrote %s with %s\n", options.outputFile.c_str(),
                counted(stepsDone + 1, "row").c_str());
}

std::string contentOf(const fs::path& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

// Whatever the FMU: one whose binary speaks of libjvm.so needs a JVM, and its class path must have
// our simulation object before any of its code runs.
void startJvmFor(const fs::path& binary, const Options& options) {
  if (contentOf(binary).find("libjvm.so") == std::string::npos) return;
  std::vector<fs::path> classPath = {zelvoxJar()};
  classPath.insert(classPath.end(), options.classPath.begin(), options.classPath.end());
  startJvm(locateJvm(), classPath, options.jvmOptions);
}

void failIfInterrupted(const std::string& sentence) {
  if (interrupted != 0) throw Failure(sentence, ExitCode::interrupted);
}

void simulate(const Options& options) {
  if (!options.plotFile.empty() && !isPlotFile(options.plotFile))
    throw Failure(
        "--plot-file " + options.plotFile.string() + ": expected a name with .svg or .png",
        ExitCode::usage);
  catchInterrupts();
  // What is static is also put away when Java code ends the process: the directory is removed, and
  // the rows so far reach their file.
  static const TemporaryDirectory directory;
  unpackArchive(options.fmu, directory.path());
  failIfInterrupted("interrupted before the run began");
  const fs::path descriptionFile = directory.path() / "modelDescription.xml";
  if (!fs::is_regular_file(descriptionFile))
    throw Failure(options.fmu.string() + " is no FMU: there is no modelDescription.xml in it");
  static const ModelDescription model = readModelDescription(contentOf(descriptionFile));
  if (!model.coSimulation)
    throw Failure(options.fmu.string() + " is for model exchange only, expected co-simulation");

  static Simulation simulation(options, model);
  startJvmFor(fmuBinary(directory.path(), model), options);
  simulation.run(directory.path());
  if (!options.quiet) simulation.summarize();
  std::fflush(stdout);
  failIfInterrupted("interrupted at t=" + numberText(simulation.endTime()) +
                    (options.outputFile.empty()
                         ? std::string()
                         : "; the rows so far are in " + options.outputFile.string()));
  if (options.plotFile.empty()) return;
  simulation.draw();
  if (!options.quiet) std::printf("Drew %s\n", options.plotFile.c_str());
}

constexpr const char* examples = R"(
Examples:
  zelvox simulate motor.fmu
  zelvox simulate motor.fmu --stop-time 2 --start-value R=0.8 --output-file motor.csv
  zelvox simulate motor.fmu --input-file inputs.csv --output-variable speed --plot-file motor.svg

An input file is a comma-separated table, for instance a voltage that jumps at 0.1 s:
  "time","voltage"
  0,0
  0.1,0
  0.1,12
Real inputs are interpolated linearly between rows and hold before the first and behind the last.

Ctrl-C ends the run in order and keeps the rows so far (exit code 130).)";

}  // namespace

void addSimulateCommand(CLI::App& app) {
  auto options = std::make_shared<Options>();
  CLI::App* const command =
      app.add_subcommand("simulate", "Co-simulate an FMU, with a JVM in this process");
  command->footer(examples);
  command->add_option("fmu", options->fmu, "The FMU, a .fmu file of FMI 2.0")
      ->required()
      ->type_name("FMU");

  const std::string run = "The run";
  command->add_option("--start-time", options->startTime, "Where the run starts [FMU's default, 0]")
      ->type_name("SECONDS")
      ->group(run);
  command->add_option("--stop-time", options->stopTime, "Where it ends [FMU's default, start + 1]")
      ->type_name("SECONDS")
      ->group(run);
  command
      ->add_option("--output-interval", options->outputInterval,
                   "Step and distance of the rows [FMU's default, 1/500 of the run]")
      ->type_name("SECONDS")
      ->group(run);
  command
      ->add_option("--start-value", options->startValues,
                   "Value of an input or a parameter at the start; repeatable")
      ->allow_extra_args(false)
      ->type_name("NAME=VALUE")
      ->group(run);
  command->add_option("--input-file", options->inputFile, "Inputs over time, see below")
      ->type_name("CSV")
      ->group(run);

  const std::string results = "Results";
  command->add_option("--output-file", options->outputFile, "Write the result as a table")
      ->type_name("CSV")
      ->group(results);
  command
      ->add_option("--output-variable", options->outputVariables,
                   "A variable for the result; repeatable [all outputs]")
      ->allow_extra_args(false)
      ->type_name("NAME")
      ->group(results);
  command
      ->add_option("--plot-file", options->plotFile,
                   "Draw the result (.svg or .png; needs gnuplot)")
      ->type_name("FILE")
      ->group(results);
  command->add_flag("--quiet", options->quiet, "No summary and no progress bar")->group(results);

  const std::string insight = "Insight";
  command->add_flag("--logging-on", options->loggingOn, "Show the FMU's messages on stderr")
      ->group(insight);
  command->add_flag("--log-fmi-calls", options->logFmiCalls, "Show every FMI call on stderr")
      ->group(insight);

  addJvmOptions(*command, options->classPath, options->jvmOptions);
  command->callback([options] { simulate(*options); });
}
