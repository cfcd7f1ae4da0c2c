// One run of an FMU: what the user wants to set and to know, and what came of it.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "importer/input_signals.h"
#include "importer/time_grid.h"
#include "importer/variable_names.h"
#include "importer/variable_values.h"
#include "output/csv_writer.h"
#include "output/picture.h"

struct SimulationOptions {
  TimeOptions time;
  std::vector<std::string> startValues;  // NAME=VALUE
  std::filesystem::path inputFile;       // empty when not wanted, as are the next two
  std::filesystem::path outputFile, plotFile;
  std::vector<std::string> outputVariables;  // none for all outputs
  FmuLogging logging;
  bool quiet = false;
};

class Simulation {
 public:
  // Throws Failure for what the FMU does not have. Both arguments must outlive the object.
  Simulation(const SimulationOptions& options, const ModelDescription& model);

  // From the instantiation to the release; ends early when the user interrupts it.
  void run(const std::filesystem::path& directory);
  void draw() const;
  void summarize() const;
  double endTime() const { return lastTime; }

 private:
  std::vector<const ScalarVariable*> chooseObserved() const;
  std::vector<const ScalarVariable*> chooseStarted() const;
  void chooseLines();
  void initialize(FmuInstance& instance);
  void step(FmuInstance& instance);
  void record(FmuInstance& instance, double time);

  const SimulationOptions& options;
  const ModelDescription& model;
  TimeGrid grid;
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
