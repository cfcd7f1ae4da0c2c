#include "importer/batch.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <string_view>
#include <utility>

#include "base/failure.h"
#include "base/interrupts.h"
#include "base/text.h"
#include "importer/run.h"
#include "output/progress_bar.h"

namespace fs = std::filesystem;

Batch::Batch(const BatchOptions& given, const ModelDescription& model)
    : options(given),
      experiment(options.experiment, model),
      table(options.runs, experiment.names),
      fixedValues(experiment.start.values.size()),
      point(experiment.observed),
      finite(experiment.observed, options.failOnNan),
      record(experiment.observed, options.record.statistics) {
  refuseTwoMeanings();
  for (const ScalarVariable* variable : table.variables()) experiment.start.add(*variable);
}

// Of two values for one variable, or two columns of one name, one would win without a word.
void Batch::refuseTwoMeanings() const {
  for (std::size_t i = 0; i < table.variables().size(); ++i) {
    const ScalarVariable& variable = *table.variables()[i];
    const std::string problem = table.placeOf(i) + ": '" + printable(variable.name) + "' ";
    if (!options.record.all && (variable.name == "run" || variable.name == "error"))
      throw Failure(problem +
                    "is a column of the result already, expected it as --start-value, or "
                    "--record all, which leaves the columns of the runs out");
    for (const std::string& startValue : options.experiment.startValues)
      if (startValue.starts_with(variable.name + "="))
        throw Failure(problem + "has a --start-value as well, expected one of them");
    if (experiment.inputs && experiment.inputs->drives(variable))
      throw Failure(problem + "has a column in --input-file as well, expected one of them");
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
    rows.reset();
    flushRows();
  } catch (const Failure& failure) {
    rows.reset();
    const std::string kept = keepRows();
    throw Failure(failure.what() + (kept.empty() ? kept : "; " + kept), failure.exitCode);
  }
  wallTime = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
  if (wroteRows() || interrupted() == 0) output->close();
  output.reset();
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
  output.emplace(options.outputFile);
  for (const std::string& name : names) output->add(std::string_view(name));
  output->endRow();
  // After the file, whose own end would be to go.
  rows.emplace([this] { return keepRows(); });
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
  rows.reset();
  if (interrupted() == 0) output->close();
}

// Makes the rows so far the result, and says how far they go.
std::string Batch::keepRows() {
  if (!output || !wroteRows()) return {};
  try {
    flushRows();
  } catch (const Failure&) {  // then the table ends with the rows before
  }
  try {
    if (!lastWritten) return {};
    output->close();
    if (isStandardOutput(options.outputFile)) return {};  // who reads the rows has them
    return nameOfTable(options.outputFile) + " has the rows up to run " +
           std::to_string(*lastWritten);
  } catch (const Failure& failure) {
    return failure.what();
  }
}

void Batch::runAll() {
  ProgressBar progress(!options.quiet && !options.logging.messages && !options.logging.calls &&
                       table.count());
  while (true) {
    if (!table.ready()) {
      const auto busy = rows->busy();
      flushRows();
    }
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
      writeLateRows();
    }
    if (run.goesOn()) return false;
    if (run.wasEndedByFmu()) noteEndByFmu(run.time());
    if (!run.wasEndedByFmu() && !everyPoint) observe(run.time());
    run.terminate();
    // The values after a step that the FMU did not make are of no row. Those before are gone, but
    // from now on all rows are looked at.
    if (run.wasEndedByFmu() && !everyPoint) return runOnce();
  } catch (const Failure& failure) {
    if (writing) throw;
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
  point.readFrom(*instance);
  finite.check(time, point.values, " in run " + std::to_string(row.number));
  if (!options.record.all) return record.add(time, point.values);
  const auto busy = rows->busy();
  writing = true;
  output->add(row.number);
  output->add(time);
  for (const Cell& cell : point.values) output->add(cell);
  if (options.record.errors) output->addEmpty();
  endRow();
  writing = false;
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
  const auto busy = rows->busy();
  output->add(row.number);
  if (options.record.all) {
    for (std::size_t i = 0; i <= experiment.observed.size(); ++i) output->addEmpty();
  } else {
    for (const Cell& cell : row.values) output->add(cell);
    error.empty() ? record.writeTo(*output) : record.skipIn(*output);
  }
  error.empty() ? output->addEmpty() : output->add(std::string_view(error));
  endRow();
}

void Batch::endRow() {
  lastGiven = row.number;
  if (output->endRow()) lastWritten = lastGiven;
}

void Batch::writeLateRows() {
  writing = true;
  if (output->isLate()) {
    const auto busy = rows->busy();
    flushRows();
  }
  writing = false;
}

void Batch::flushRows() {
  if (output->flush()) lastWritten = lastGiven;
}

void Batch::summarize() const {
  std::printf("%s: %s of %s in %.3g s\n", printable(experiment.model.modelName).c_str(),
              counted(runsDone, "run").c_str(), counted(experiment.grid.steps, "step").c_str(),
              wallTime);
  std::printf("Wrote %s\n", printable(nameOfTable(options.outputFile)).c_str());
}
