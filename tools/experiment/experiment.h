// What the runs of an FMU do and show, as the user's options say it, checked against the FMU's
// description: communication points, start values, inputs over time, variables of the result.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "experiment/input_signals.h"
#include "experiment/time_grid.h"
#include "loaded_fmu/variable_names.h"
#include "loaded_fmu/variable_values.h"

struct ExperimentOptions {
  TimeOptions time;
  std::vector<std::string> startValues;      // NAME=VALUE, or NAME=VALUE UNIT
  std::filesystem::path inputFile;           // empty when there is none
  std::vector<std::string> outputVariables;  // none for all outputs
};

struct Experiment {
  // Throws Failure for what the FMU does not have. `description` must outlive the object.
  Experiment(const ExperimentOptions& options, const ModelDescription& description);
  Experiment(const Experiment&) = delete;
  Experiment& operator=(const Experiment&) = delete;

  // Throws Failure for a variable that is given in another way already: of two values one would win
  // without a word. `place` begins the message, and `how` is for that about another way.
  void giveOnce(const ScalarVariable& variable, const std::string& place, const std::string& how);

  const ModelDescription& model;
  VariableNames names;
  TimeGrid grid;
  std::vector<const ScalarVariable*> observed;
  VariableGroup start;  // set before the initialization
  std::optional<InputSignals> inputs;

 private:
  void setAtStart(const std::string& startValue);

  std::unordered_map<const ScalarVariable*, std::string> given;
};
