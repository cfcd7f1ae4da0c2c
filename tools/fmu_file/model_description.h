// What an FMU's modelDescription.xml says, as far as the commands care.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

inline constexpr std::array<std::string_view, 5> variableTypes = {"Real", "Integer", "Boolean",
                                                                  "String", "Enumeration"};

// What a variable can hold: booleans are 0 and 1.
using Cell = std::variant<double, std::string>;

// The SI base units of FMI, in the order of UnitDefinition::exponents.
inline constexpr std::array<const char*, 8> baseUnits = {"kg", "m",   "s",  "A",
                                                         "K",  "mol", "cd", "rad"};

// Another unit for the same values: one in the unit is `factor * value + offset` in this one.
struct DisplayUnit {
  std::string name;
  double factor = 1.0;
  double offset = 0.0;
};

struct UnitDefinition {
  std::string name;
  bool hasBaseUnit = false;
  std::array<int, 8> exponents{};  // kg, m, s, A, K, mol, cd, rad
  double factor = 1.0;
  double offset = 0.0;
  std::vector<DisplayUnit> displayUnits;
};

struct ScalarVariable {
  std::string name;
  std::uint32_t valueReference = 0;
  std::string description;
  std::string causality;    // input, output, parameter, local, independent, ...
  std::string variability;  // continuous, tunable, ...
  std::string initial;      // exact, calculated, or empty
  std::string type;         // Real, Integer, Boolean, String, Enumeration
  std::string unit;
  std::optional<DisplayUnit> displayUnit;          // the one to show values in, if it is defined
  bool relativeQuantity = false;                   // a difference, which has no zero to move
  std::optional<double> start, min, max, nominal;  // a Boolean starts at 0 or 1
  std::optional<std::string> startText;            // a String starts here
};

struct ModelDescription {
  std::string modelName, description, guid, modelIdentifier;
  std::string author, version, license, copyright, generationTool, generationDateAndTime;
  bool coSimulation = false;
  bool modelExchange = false;
  bool needsExecutionTool = false;
  bool variableStepSize = false;  // communication steps may differ in their length
  std::optional<double> startTime, stopTime, stepSize, tolerance;  // DefaultExperiment, in seconds
  std::vector<UnitDefinition> units;
  std::vector<ScalarVariable> variables;
};

// What stands in texts and numbers at its head, by the names that FMI gives them.
template <class Value>
using NamedMember = std::pair<const char*, Value ModelDescription::*>;

inline constexpr std::array<NamedMember<std::string>, 7> headTexts = {
    {{"description", &ModelDescription::description},
     {"author", &ModelDescription::author},
     {"version", &ModelDescription::version},
     {"copyright", &ModelDescription::copyright},
     {"license", &ModelDescription::license},
     {"generationTool", &ModelDescription::generationTool},
     {"generationDateAndTime", &ModelDescription::generationDateAndTime}}};

inline constexpr std::array<NamedMember<std::optional<double>>, 4> experimentNumbers = {
    {{"startTime", &ModelDescription::startTime},
     {"stopTime", &ModelDescription::stopTime},
     {"tolerance", &ModelDescription::tolerance},
     {"stepSize", &ModelDescription::stepSize}}};

// The name of the unit in which people see the values of a variable, and a value in it.
inline const std::string& shownUnit(const ScalarVariable& variable) {
  return variable.displayUnit ? variable.displayUnit->name : variable.unit;
}

inline double shownValue(const ScalarVariable& variable, double value) {
  const auto& display = variable.displayUnit;
  return display ? display->factor * value + display->offset : value;
}
