#include "importer/experiment.h"

#include "base/failure.h"
#include "base/text.h"

namespace {

std::vector<const ScalarVariable*> chooseObserved(const VariableNames& names,
                                                  const ModelDescription& model,
                                                  const std::vector<std::string>& wanted) {
  std::vector<const ScalarVariable*> chosen;
  for (const std::string& name : wanted)
    chosen.push_back(&names.find(name, "--output-variable", [](const auto&) { return true; }));
  if (!chosen.empty()) return chosen;
  for (const ScalarVariable& variable : model.variables)
    if (variable.causality == "output") chosen.push_back(&variable);
  return chosen;
}

VariableGroup startGroup(const VariableNames& names, const std::vector<std::string>& startValues) {
  std::vector<const ScalarVariable*> variables;
  std::vector<Cell> values;
  for (const std::string& startValue : startValues) {
    const std::size_t equals = startValue.find('=');
    if (equals == std::string::npos)
      throw Failure("--start-value " + printable(startValue) + " has no value, expected NAME=VALUE",
                    ExitCode::usage);
    variables.push_back(&findSettable(names, startValue.substr(0, equals), "--start-value"));
    values.push_back(parseValue(*variables.back(), startValue.substr(equals + 1)));
  }
  VariableGroup group(variables);
  group.values = values;
  return group;
}

}  // namespace

const ScalarVariable& findSettable(const VariableNames& names, const std::string& name,
                                   const std::string& place) {
  const auto settable = [](const ScalarVariable& variable) {
    return variable.causality == "input" || variable.causality == "parameter";
  };
  const ScalarVariable& variable = names.find(name, place, settable);
  if (!settable(variable))
    throw Failure(place + ": '" + variable.name + "' is " + kindOf(variable) +
                  ", expected an input or a parameter");
  return variable;
}

Experiment::Experiment(const ExperimentOptions& options, const ModelDescription& description)
    : model(description),
      names(model),
      grid(options.time, model),
      observed(chooseObserved(names, model, options.outputVariables)),
      start(startGroup(names, options.startValues)) {
  if (!options.inputFile.empty()) inputs.emplace(model, readCsv(options.inputFile));
  constexpr long long many = 1'000'000'000;
  if (grid.steps > many)
    warn("the run takes " + std::to_string(grid.steps) + " steps of " + numberText(grid.step) +
         (options.time.stepSize ? " s, is the step size meant?"
                                : " s, is the output interval meant?"));
}
