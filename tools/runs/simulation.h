// One run of an FMU for a user who looks at it: its table, picture and summary.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "experiment/experiment.h"
#include "experiment/run.h"
#include "output/picture.h"
#include "output/result_table.h"

struct SimulationOptions : RunOptions {
  std::filesystem::path plotFile;  // empty when not wanted
  std::filesystem::path logFile;   // of the logging, stderr when empty
};

class Simulation {
 public:
  // Throws Failure for what the FMU does not have. Both arguments must outlive the object.
  Simulation(const SimulationOptions& options, const ModelDescription& model);

  // From the instantiation to the release; ends early when the user interrupts it. Files that exist
  // stay as they are until the first step, and keep the rows so far when a later one fails.
  void run(const std::filesystem::path& directory);
  // The picture, when it is wanted.
  void draw();
  void summarize() const;
  bool wroteRows() const { return stepping && !options.outputFile.empty(); }
  // Of the variables that the input file drives: too many for a picture that is to be read.
  std::size_t inputsNotDrawn() const { return notDrawn; }
  double reachedTime() const { return current->time(); }

 private:
  void chooseLines();
  void chooseInputLines(const std::vector<const ScalarVariable*>& driven);
  void stepThrough(LoadedFmu& instance);
  void stepToTheEnd(LoadedFmu& instance);
  void record(LoadedFmu& instance);

  const SimulationOptions& options;
  Experiment experiment;
  const std::vector<const ScalarVariable*>& observed;
  VariableGroup row;
  FiniteCheck finite;
  std::optional<ResultTable> output;  // until it is closed
  std::optional<Picture> picture;

  // What has happened.
  std::optional<Run> current;
  bool stepping = false;
  long long rowsDone = 0;
  double rowTime = 0.0;   // of the last row, whose values `row` has
  double wallTime = 0.0;  // of the steps, in seconds

  // Of the picture: the observed numbers, and behind them the driven inputs.
  std::vector<PlotLine> lines;
  std::vector<std::size_t> drawnInputs;  // by column of the input file
  std::size_t notDrawn = 0;
};
