#include "runs/simulation.h"

#include <algorithm>
#include <chrono>
#include <cstdio>

#include "ending/failure.h"
#include "ending/interrupts.h"
#include "output/progress_bar.h"
#include "words/layout.h"
#include "words/numbers.h"
#include "words/text.h"

namespace fs = std::filesystem;

Simulation::Simulation(const SimulationOptions& given, const ModelDescription& model)
    : options(given),
      experiment(options.experiment, model),
      observed(experiment.observed),
      row(observed),
      finite(observed, options.failOnNan) {
  if (options.plotFile.empty()) return;
  chooseLines();
  picture.emplace(options.plotFile);
}

void Simulation::chooseLines() {
  for (const ScalarVariable* variable : observed)
    if (variable->type != "String") lines.push_back({variable, {}});
  if (lines.empty() || lines.size() > mostPlotLines)
    throw Failure("cannot draw " + std::to_string(lines.size()) + " variables in " +
                  options.plotFile.string() + ", expected 1 to " + std::to_string(mostPlotLines) +
                  " with numbers; choose them with --output-variable");
  if (experiment.inputs) chooseInputLines(experiment.inputs->variables());
}

void Simulation::chooseInputLines(const std::vector<const ScalarVariable*>& driven) {
  for (std::size_t i = 0; i < driven.size(); ++i) {
    const auto line = std::ranges::find(lines, driven[i], &PlotLine::variable);
    if (line == lines.end())
      drawnInputs.push_back(i);
    else
      line->driven = true;
  }
  if (lines.size() + drawnInputs.size() > mostPlotLines) {
    notDrawn = drawnInputs.size();
    drawnInputs.clear();
  }
  for (const std::size_t i : drawnInputs) lines.push_back({driven[i], {}, true});
  // An FMU gets an input at every point and has it until the next. Between rows that are several
  // steps apart, a continuous one is more like the line from row to row.
  for (PlotLine& line : lines)
    line.held = line.driven &&
                (experiment.grid.everyPointIsRow() || line.variable->variability != "continuous");
}

void Simulation::run(const fs::path& directory) {
  std::optional<LogFile> log;
  FmuLogging logging = options.logging;
  if (!options.logFile.empty()) logging.file = &log.emplace(options.logFile);
  {
    LoadedFmu instance(directory, experiment.model, logging);
    stepThrough(instance);
  }
  if (log) log->requireWhole();
}

void Simulation::stepThrough(LoadedFmu& instance) {
  if (!options.outputFile.empty()) {
    std::vector<std::string> columns = {"time"};
    for (const ScalarVariable* variable : observed) columns.push_back(variable->name);
    output.emplace(options.outputFile, columns, "t=");
  }
  current.emplace(experiment, instance);
  current->initialize();
  record(instance);
  try {
    stepToTheEnd(instance);
    current->terminate();
    if (output) output->flush();
  } catch (const std::exception& problem) {
    const bool gone = failureOf(problem).exitCode == ExitCode::brokenPipe;
    throw failureOf(problem, gone     ? "the run stopped at t=" + numberText(reachedTime())
                             : output ? output->keep()
                                      : "");
  }
  if (output && stepping) output->close();
  output.reset();
}

void Simulation::stepToTheEnd(LoadedFmu& instance) {
  const bool logged = options.logging.messages || options.logging.calls;
  ProgressBar progress(!options.quiet && (!logged || !options.logFile.empty()) &&
                       !(output && output->isSeen()));
  const auto begin = std::chrono::steady_clock::now();
  while (current->goesOn() && !interrupted()) {
    stepping = true;
    if (output) output->beginKeeping();
    if (current->step() && experiment.grid.isRow(current->steps())) record(instance);
    progress.show(current->steps(), experiment.grid.steps);
  }
  wallTime = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

void Simulation::record(LoadedFmu& instance) {
  const double time = rowTime = reachedTime();
  instance.get(row);
  if (output) {
    output->add(time);
    for (const Cell& cell : row.values) output->add(cell);
    output->endRow();
  }
  ++rowsDone;
  finite.check(time, row.values);
  if (!picture) return;
  auto line = lines.begin();
  for (const Cell& cell : row.values)
    if (const double* const number = std::get_if<double>(&cell)) (line++)->trace.add(time, *number);
  for (const std::size_t i : drawnInputs)
    (line++)->trace.add(time, std::get<double>(experiment.inputs->written()[i]));
}

void Simulation::summarize() const {
  std::printf(
      "%s: %s from %.10g s to %.10g s in %.3g s", printable(experiment.model.modelName).c_str(),
      counted(current->steps(), "step").c_str(), experiment.grid.start, reachedTime(), wallTime);
  if (wallTime > 0.0) {
    const double factor = (reachedTime() - experiment.grid.start) / wallTime;
    std::printf(factor < 100.0 ? ", %.3g times real time" : ", %.0f times real time", factor);
  }
  std::printf(
      "%s%s\n", current->wasEndedByFmu() ? "; the FMU ended the run" : "",
      rowTime < reachedTime() ? ("; the last row is at t=" + numberText(rowTime)).c_str() : "");

  constexpr std::size_t mostShown = 20;
  const std::size_t shown = std::min(observed.size(), mostShown);
  std::size_t width = 0;
  for (std::size_t i = 0; i < shown; ++i) width = std::max(width, widthOf(observed[i]->name));
  for (std::size_t i = 0; i < shown; ++i) {
    const double* const number = std::get_if<double>(&row.values[i]);
    const std::string name = printable(observed[i]->name);
    std::printf("  %s ", padded(name, std::min<std::size_t>(width, 40)).c_str());
    if (number != nullptr) {
      std::printf("%14.8g  %s\n", shownValue(*observed[i], *number),
                  printable(shownUnit(*observed[i])).c_str());
    } else {
      std::printf("%s\n", printable(std::get<std::string>(row.values[i])).c_str());
    }
  }
  if (observed.size() > shown) std::printf("  and %zu more\n", observed.size() - shown);
  if (!wroteRows()) return;
  const std::string rows = counted(rowsDone, "row");
  if (isStandardOutput(options.outputFile))
    std::printf("Wrote %s to the standard output\n", rows.c_str());
  else
    std::printf("Wrote %s with %s\n", printable(options.outputFile.string()).c_str(), rows.c_str());
}

void Simulation::draw() {
  if (picture) picture->draw(experiment.model.modelName, lines);
}
