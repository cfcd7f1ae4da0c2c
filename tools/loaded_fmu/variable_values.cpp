#include "loaded_fmu/variable_values.h"

#include <utf8.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>

#include "ending/failure.h"
#include "words/numbers.h"
#include "words/text.h"

namespace {

std::string inUnit(const ScalarVariable& variable) {
  return variable.unit.empty() ? "" : " in " + variable.unit;
}

[[noreturn]] void refuse(const ScalarVariable& variable, const std::string& text,
                         const std::string& expected) {
  throw Failure("'" + printable(text) + "' is no value for '" + printable(variable.name) +
                "', expected " + printable(expected));
}

}  // namespace

bool canHold(const ScalarVariable& variable, double value) {
  if (variable.type == "Real") return std::isfinite(value);
  if (variable.type == "Boolean") return value == 0.0 || value == 1.0;
  if (variable.type == "String") return false;
  using Limits = std::numeric_limits<fmi2Integer>;
  return value == std::trunc(value) && value >= Limits::min() && value <= Limits::max();
}

Cell parseValue(const ScalarVariable& variable, const std::string& text) {
  if (variable.type == "String") {
    // The FMU would get another one without a word: FMI's texts are UTF-8 and end at a zero byte.
    if (text.find('\0') != std::string::npos || !utf8::is_valid(text.begin(), text.end()))
      refuse(variable, text, "a text in UTF-8 without zero bytes");
    return text;
  }
  const std::optional<double> number =
      variable.type == "Boolean" ? parseBoolean(text) : parseNumber(text);
  if (!number || !canHold(variable, *number))
    refuse(variable, text,
           variable.type == "Real"      ? "a finite number" + inUnit(variable)
           : variable.type == "Boolean" ? "true, false, 1 or 0"
                                        : "an integer");
  return *number;
}

Cell parseStartValue(const ModelDescription& model, const ScalarVariable& variable,
                     const std::string& text) {
  const std::string_view given = trimmed(text);
  const std::size_t blank = std::min(given.find_first_of(" \t"), given.size());
  const std::string_view unit = trimmed(given.substr(blank));
  if (variable.type != "Real" || unit.empty()) return parseValue(variable, text);
  const std::optional<double> number = parseNumber(given.substr(0, blank));
  if (number && std::isfinite(*number) && unit == variable.unit) return *number;
  std::string known = variable.unit.empty() ? "" : ", or one with a unit: " + variable.unit;
  const auto definition = std::ranges::find(model.units, variable.unit, &UnitDefinition::name);
  if (definition != model.units.end()) {
    for (const DisplayUnit& display : definition->displayUnits) {
      if (!std::isnormal(display.factor) || !std::isfinite(display.offset)) continue;
      const double offset = variable.relativeQuantity ? 0.0 : display.offset;
      const double value = (number.value_or(0.0) - offset) / display.factor;
      if (number && unit == display.name && std::isfinite(value)) return value;
      known += ", " + display.name;
    }
  }
  refuse(variable, text, "a finite number" + inUnit(variable) + known);
}

VariableGroup::VariableGroup(const std::vector<const ScalarVariable*>& variables) {
  for (const ScalarVariable* variable : variables) add(*variable);
}

void VariableGroup::add(const ScalarVariable& variable) {
  const std::size_t position = values.size();
  values.emplace_back();
  if (variable.type == "Real") {
    reals.add(position, variable.valueReference);
  } else if (variable.type == "Boolean") {
    booleans.add(position, variable.valueReference);
  } else if (variable.type == "String") {
    strings.add(position, variable.valueReference);
  } else {
    integers.add(position, variable.valueReference);
  }
}
