// The form for programs: the names are those of FMI, and what is not said has no key.
#include <cmath>
#include <nlohmann/json.hpp>

#include "commands/fmu_facts.h"

namespace {

using Json = nlohmann::ordered_json;

void setUnlessEmpty(Json& object, const char* name, const std::string& text) {
  if (!text.empty()) object[name] = text;
}

// JSON has no number for these; XML Schema has these texts.
Json jsonOf(double value) {
  if (std::isnan(value)) return "NaN";
  if (std::isinf(value)) return value > 0 ? "INF" : "-INF";
  return value;
}

// What an Integer or an Enumeration can hold is written without a point.
Json jsonOf(const ScalarVariable& variable, double value) {
  const bool whole = (variable.type == "Integer" || variable.type == "Enumeration") &&
                     std::trunc(value) == value && std::abs(value) < 0x1p53;
  return whole ? Json(static_cast<std::int64_t>(value)) : jsonOf(value);
}

void setIfGiven(Json& object, const char* name, const std::optional<double>& value) {
  if (value) object[name] = jsonOf(*value);
}

Json jsonOf(const UnitDefinition& unit) {
  Json object = {{"name", unit.name}};
  if (unit.hasBaseUnit) {
    Json base = Json::object();
    for (std::size_t i = 0; i < baseUnits.size(); ++i) {
      if (unit.exponents[i] != 0) base[baseUnits[i]] = unit.exponents[i];
    }
    base["factor"] = jsonOf(unit.factor);
    base["offset"] = jsonOf(unit.offset);
    object["BaseUnit"] = std::move(base);
  }
  for (const DisplayUnit& display : unit.displayUnits) {
    object["DisplayUnit"].push_back({{"name", display.name},
                                     {"factor", jsonOf(display.factor)},
                                     {"offset", jsonOf(display.offset)}});
  }
  return object;
}

Json startOf(const ScalarVariable& variable) {
  if (variable.type == "String") return *variable.startText;
  if (variable.type == "Boolean") return *variable.start != 0;
  return jsonOf(variable, *variable.start);
}

Json jsonOf(const ScalarVariable& variable) {
  Json object = {{"name", variable.name}, {"valueReference", variable.valueReference}};
  setUnlessEmpty(object, "description", variable.description);
  object["causality"] = variable.causality;
  object["variability"] = variable.variability;
  setUnlessEmpty(object, "initial", variable.initial);
  object["type"] = variable.type;
  setUnlessEmpty(object, "unit", variable.unit);
  if (variable.displayUnit) object["displayUnit"] = variable.displayUnit->name;
  if (variable.relativeQuantity) object["relativeQuantity"] = true;
  if (variable.min) object["min"] = jsonOf(variable, *variable.min);
  if (variable.max) object["max"] = jsonOf(variable, *variable.max);
  setIfGiven(object, "nominal", variable.nominal);
  if (variable.start || variable.startText) object["start"] = startOf(variable);
  return object;
}

}  // namespace

std::string jsonOf(const FmuFacts& facts) {
  const ModelDescription& model = facts.model;
  Json object = {{"fmiVersion", "2.0"}, {"modelName", model.modelName}, {"guid", model.guid}};
  for (const auto& [name, member] : headTexts) setUnlessEmpty(object, name, model.*member);
  object["kinds"] = Json::array();
  if (model.coSimulation) object["kinds"].push_back("CoSimulation");
  if (model.modelExchange) object["kinds"].push_back("ModelExchange");
  object["modelIdentifier"] = model.modelIdentifier;
  object["needsExecutionTool"] = model.needsExecutionTool;
  object["needsJvm"] = facts.needsJvm;
  object["platforms"] = facts.platforms;
  object["size"] = facts.size;
  object["files"] = facts.files;
  Json experiment = Json::object();
  for (const auto& [name, member] : experimentNumbers) setIfGiven(experiment, name, model.*member);
  object["DefaultExperiment"] = std::move(experiment);
  object["UnitDefinitions"] = Json::array();
  for (const UnitDefinition& unit : model.units) object["UnitDefinitions"].push_back(jsonOf(unit));
  object["ModelVariables"] = Json::array();
  for (const ScalarVariable& variable : model.variables) {
    object["ModelVariables"].push_back(jsonOf(variable));
  }
  constexpr int indent = 2;
  constexpr bool asciiOnly = true;
  return object.dump(indent, ' ', asciiOnly, Json::error_handler_t::replace);
}
