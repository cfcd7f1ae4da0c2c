#include "experiment/experiment.h"

#include <algorithm>

#include "ending/failure.h"
#include "words/numbers.h"
#include "words/text.h"

namespace {

std::vector<const ScalarVariable*> chooseObserved(const VariableNames& names,
                                                  const ModelDescription& model,
                                                  const std::vector<std::string>& wanted) {
  std::vector<const ScalarVariable*> chosen;
  const auto any = [](const ScalarVariable&) { return true; };
  for (const std::string& name : wanted) {
    const ScalarVariable& variable = names.find(name, "--output-variable", any, "");
    if (std::ranges::find(chosen, &variable) != chosen.end())
      throw Failure("--output-variable names '" + printable(name) + "' twice");
    chosen.push_back(&variable);
  }
  if (!chosen.empty()) return chosen;
  for (const ScalarVariable& variable : model.variables)
    if (variable.causality == "output") chosen.push_back(&variable);
  return chosen;
}

}  // namespace

Experiment::Experiment(const ExperimentOptions& options, const ModelDescription& description)
    : model(description),
      names(model),
      grid(options.time, model),
      observed(chooseObserved(names, model, options.outputVariables)),
      start({}) {
  if (!options.inputFile.empty()) inputs.emplace(model, readCsv(options.inputFile));
  if (inputs)
    for (const ScalarVariable* variable : inputs->variables())
      giveOnce(*variable, "--input-file", "a column in --input-file");
  for (const std::string& startValue : options.startValues) setAtStart(startValue);
  constexpr long long many = 1'000'000'000;
  if (grid.steps > many)
    warn("the run takes " + std::to_string(grid.steps) + " steps of " + numberText(grid.step) +
         (options.time.stepSize ? " s, is the step size meant?"
                                : " s, is the output interval meant?"));
}

void Experiment::setAtStart(const std::string& startValue) {
  const std::size_t equals = startValue.find('=');
  if (equals == std::string::npos)
    throw Failure("--start-value " + printable(startValue) + " has no value, expected NAME=VALUE",
                  ExitCode::usage);
  const ScalarVariable& variable =
      names.findSettable(startValue.substr(0, equals), "--start-value");
  giveOnce(variable, "--start-value", "a --start-value");
  start.add(variable);
  start.values.back() = parseStartValue(model, variable, startValue.substr(equals + 1));
}

void Experiment::giveOnce(const ScalarVariable& variable, const std::string& place,
                          const std::string& how) {
  const auto [other, isFirst] = given.emplace(&variable, how);
  if (!isFirst)
    throw Failure(place + ": '" + printable(variable.name) + "' has " + other->second +
                  " as well, expected one of them");
}
