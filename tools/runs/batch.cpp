#include "runs/batch.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <string_view>
#include <utility>

#include "ending/failure.h"
#include "ending/interrupts.h"
#include "output/progress_bar.h"
#include "words/numbers.h"
#include "words/text.h"

namespace fs = std::filesystem;

Batch::Batch(const BatchOptions& given, const ModelDescription& model)
    : options(given),
      experiment(options.experiment, model),
      table(options.runs, experiment.names),
      fixedValues(experiment.start.values.size()),
      point(experiment.observed),
      finite(experiment.observed, options.failOnNan),
      record(experiment.observed, options.record.statistics) {
  for (std::size_t i = 0; i < table.variables().size(); ++i) {
    const ScalarVariable& variable = *table.variables()[i];
    if (!options.record.all && (variable.name == "run" || variable.name == "error"))
      throw Failure(table.placeOf(i) + ": '" + variable.name +
                    "' is a column of the result already, expected it as --start-value, or "
                    "--record all, which leaves the columns of the runs out");
    experiment.giveOnce(variable, table.placeOf(i), "a column in --runs");
    experiment.start.add(variable);
  }
}

void Batch::run(const fs::path& unpacked, bool resetsAlways) {
  directory = unpacked;
  resetAlways = resetsAlways;
  instance.emplace(directory, experiment.model, options.logging);
  openTable(resultColumns());
  const auto begin = std::chrono::steady_clock::now();
  try {
    runAll();
    output->flush();
  } catch (const std::exception& problem) {
    throw failureOf(problem, output->keep());
  }
  wallTime = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
  if (wroteRows() || interrupted() == 0) output->close();
  instance.reset();
}

std::vector<std::string> Batch::resultColumns() const {
  std::vector<std::string> names = {"run"};
  if (options.record.all) {
    names.emplace_back("time");
    for (const ScalarVariable* variable : experiment.observed) names.push_back(variable->name);
    if (options.record.errors) names.emplace_back("error");
  } else {
    for (const ScalarVariable* variable : table.variables()) names.push_back(variable->name);
    std::vector<std::string> taken = names;
    taken.emplace_back("error");
    for (const std::string& name : record.columns(taken)) names.push_back(name);
    names.emplace_back("error");
  }
  return names;
}

void Batch::openTable(const std::vector<std::string>& names) {
  output.emplace(options.outputFile, names, "run ");
  output->beginKeeping();
}

void Batch::show() {
  std::vector<std::string> names = {"run"};
  for (const ScalarVariable* variable : table.variables()) names.push_back(variable->name);
  openTable(names);
  while (table.next(row)) {
    output->add(row.number);
    for (const Cell& cell : row.values) output->add(cell);
    output->endRow();
  }
  if (interrupted() != 0) throw Failure("the runs were not read to their end");
  output->close();
}

void Batch::runAll() {
  ProgressBar progress(!options.quiet && !options.logging.messages && !options.logging.calls &&
                       table.count());
  while (true) {
    if (!table.ready()) output->flush();
    nowWaitingFor("the next row of the runs");
    if (!table.next(row) || !runOnce()) return;
    if (instance && !instance->isUsable())
      throw Failure("run " + std::to_string(row.number) +
                    " ended the FMU, of which nothing may be called any more: " + lastReason);
    if (table.count()) progress.show(runsDone, *table.count());
  }
}

bool Batch::runOnce() {
  std::string error;
  try {
    prepareInstance();
    record.beginRun();
    std::ranges::copy(row.values,
                      experiment.start.values.begin() + static_cast<std::ptrdiff_t>(fixedValues));
    Run run(experiment, *instance);
    run.initialize();
    const bool everyPoint = options.record.all || record.needsEveryPoint() || warnedOfEnd;
    if (everyPoint) observe(run.time());
    while (run.goesOn() && interrupted() == 0) {
      if (run.step() && everyPoint && experiment.grid.isRow(run.steps())) observe(run.time());
      output->writeLateRows();
    }
    if (run.goesOn()) return false;
    if (run.wasEndedByFmu()) noteEndByFmu(run.time());
    if (!run.wasEndedByFmu() && !everyPoint) observe(run.time());
    run.terminate();
    // The values after a step that the FMU did not make are of no row. Those before are gone, but
    // from now on all rows are looked at.
    if (run.wasEndedByFmu() && !everyPoint) return runOnce();
  } catch (const Unwritable&) {
    throw;
  } catch (const Failure& failure) {
    error = printable(failure.what());
  }
  ++runsDone;
  if (!error.empty() && ++runsFailed == 1) firstReason = error;
  lastReason = error;
  writeRow(error);
  return true;
}

void Batch::prepareInstance() {
  if (instance && !std::exchange(instanceUsed, true)) return;
  if (instance && (resetAlways || lastReason.empty())) {
    try {
      return instance->reset();
    } catch (const Failure&) {
      if (!instance->isUsable()) throw;
    }
  }
  // Freed first: an instance may be the only one that its process can have.
  instance.reset();
  instance.emplace(directory, experiment.model, options.logging);
}

void Batch::observe(double time) {
  instance->get(point);
  finite.check(time, point.values, " in run " + std::to_string(row.number));
  if (!options.record.all) return record.add(time, point.values);
  output->add(row.number);
  output->add(time);
  for (const Cell& cell : point.values) output->add(cell);
  if (options.record.errors) output->addEmpty();
  output->endRow();
}

// Its values are those of another time than in the other rows.
void Batch::noteEndByFmu(double time) {
  if (std::exchange(warnedOfEnd, true)) return;
  warn("the FMU ended run " + std::to_string(row.number) + " at t=" + numberText(time) +
       ", before the stop time (said once)");
}

void Batch::writeRow(const std::string& error) {
  if (options.record.all && !options.record.errors) {
    if (!error.empty()) warn("run " + std::to_string(row.number) + ": " + error);
    return;
  }
  output->add(row.number);
  if (options.record.all) {
    for (std::size_t i = 0; i <= experiment.observed.size(); ++i) output->addEmpty();
  } else {
    for (const Cell& cell : row.values) output->add(cell);
    error.empty() ? record.writeTo(*output) : record.skipIn(*output);
  }
  error.empty() ? output->addEmpty() : output->add(std::string_view(error));
  output->endRow();
}

void Batch::summarize() const {
  std::printf("%s: %s of %s in %.3g s\n", printable(experiment.model.modelName).c_str(),
              counted(runsDone, "run").c_str(), counted(experiment.grid.steps, "step").c_str(),
              wallTime);
  std::printf("Wrote %s\n", printable(nameOfTable(options.outputFile)).c_str());
}
