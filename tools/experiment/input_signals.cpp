#include "experiment/input_signals.h"

#include <algorithm>
#include <cmath>
#include <string_view>
#include <unordered_set>

#include "ending/failure.h"
#include "loaded_fmu/variable_names.h"
#include "tables/csv_lines.h"
#include "words/numbers.h"
#include "words/text.h"

namespace {

bool canBeDriven(const ScalarVariable& variable) {
  return variable.causality == "input" ||
         (variable.causality == "parameter" && variable.variability == "tunable");
}

std::vector<const ScalarVariable*> variablesOf(const ModelDescription& model,
                                               const CsvTable& table) {
  const VariableNames names(model);
  std::vector<const ScalarVariable*> variables;
  std::unordered_set<std::string_view> seen;
  for (const std::string& name : table.names) {
    const std::string place = placeInTable(table.file, table.headerLine, variables.size() + 2);
    const ScalarVariable& variable =
        names.find(name, place, canBeDriven, "an input or a tunable parameter");
    if (!seen.insert(name).second)
      throw Failure(place + ": '" + printable(name) + "' has a column already");
    variables.push_back(&variable);
  }
  return variables;
}

}  // namespace

InputSignals::InputSignals(const ModelDescription& model, CsvTable columns)
    : table(std::move(columns)), driven(variablesOf(model, table)), values(driven) {
  for (std::size_t column = 0; column < driven.size(); ++column) {
    const ScalarVariable& variable = *driven[column];
    interpolated.push_back(variable.type == "Real" && variable.variability == "continuous");
    for (std::size_t row = 0; row < table.rows.size(); ++row) {
      if (!canHold(variable, table.rows[row][column]))
        throw Failure(placeInTable(table.file, table.rowLines[row], column + 2) + ": " +
                      numberText(table.rows[row][column]) + " is no value for '" +
                      printable(variable.name) + "' of type " + variable.type);
    }
  }
}

void InputSignals::writeTo(LoadedFmu& instance, double time, double tolerance) {
  const auto next = std::ranges::upper_bound(table.times, time + tolerance);
  const auto index = static_cast<std::size_t>(next - table.times.begin());
  const std::vector<double>& after = table.rows[std::min(index, table.rows.size() - 1)];
  const std::vector<double>& before = table.rows[index > 0 ? index - 1 : 0];
  double fraction = 0.0;
  if (index > 0 && index < table.rows.size()) {
    const double from = table.times[index - 1];
    fraction = std::clamp((time - from) / (table.times[index] - from), 0.0, 1.0);
  }
  for (std::size_t column = 0; column < driven.size(); ++column) {
    values.values[column] =
        interpolated[column] ? std::lerp(before[column], after[column], fraction) : before[column];
  }
  instance.set(values);
}
