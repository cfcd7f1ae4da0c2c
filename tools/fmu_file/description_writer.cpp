#include "fmu_file/description_writer.h"

#include <pugixml.hpp>
#include <set>
#include <sstream>

#include "words/numbers.h"

namespace {

void set(pugi::xml_node node, const char* name, const std::string& value) {
  node.append_attribute(name) = value.c_str();
}

void setUnlessEmpty(pugi::xml_node node, const char* name, const std::string& value) {
  if (!value.empty()) set(node, name, value);
}

void set(pugi::xml_node node, const char* name, const std::optional<double>& value) {
  if (value) set(node, name, numberText(*value));
}

// The order of attributes and elements is that of FMI 2.0.2, 2.2.

void writeHead(pugi::xml_node root, const ModelDescription& model) {
  set(root, "fmiVersion", "2.0");
  set(root, "modelName", model.modelName);
  set(root, "guid", model.guid);
  for (const auto& [name, member] : headTexts) setUnlessEmpty(root, name, model.*member);
  set(root, "variableNamingConvention", "flat");

  pugi::xml_node coSimulation = root.append_child("CoSimulation");
  set(coSimulation, "modelIdentifier", model.modelIdentifier);
  set(coSimulation, "needsExecutionTool", model.needsExecutionTool ? "true" : "false");
  set(coSimulation, "canHandleVariableCommunicationStepSize", "true");
  set(coSimulation, "canInterpolateInputs", "false");
  set(coSimulation, "maxOutputDerivativeOrder", "0");
  // The name is misspelled in the standard.
  set(coSimulation, "canRunAsynchronuously", "false");
  set(coSimulation, "canBeInstantiatedOnlyOncePerProcess", "false");
  set(coSimulation, "canNotUseMemoryManagementFunctions", "false");
  set(coSimulation, "canGetAndSetFMUstate", "false");
  set(coSimulation, "canSerializeFMUstate", "false");
  set(coSimulation, "providesDirectionalDerivative", "false");
}

void writeUnits(pugi::xml_node root, const ModelDescription& model) {
  pugi::xml_node definitions;
  const auto append = [&](const std::string& name) {
    if (definitions.empty()) definitions = root.append_child("UnitDefinitions");
    pugi::xml_node unit = definitions.append_child("Unit");
    set(unit, "name", name);
    return unit;
  };
  std::set<std::string> listed;
  for (const UnitDefinition& unit : model.units) {
    pugi::xml_node node = append(unit.name);
    listed.insert(unit.name);
    if (!unit.hasBaseUnit) continue;
    pugi::xml_node base = node.append_child("BaseUnit");
    for (std::size_t i = 0; i < baseUnits.size(); ++i) {
      if (unit.exponents[i] != 0) base.append_attribute(baseUnits[i]) = unit.exponents[i];
    }
    if (unit.factor != 1.0) set(base, "factor", unit.factor);
    if (unit.offset != 0.0) set(base, "offset", unit.offset);
    for (const DisplayUnit& display : unit.displayUnits) {
      pugi::xml_node other = node.append_child("DisplayUnit");
      set(other, "name", display.name);
      if (display.factor != 1.0) set(other, "factor", display.factor);
      if (display.offset != 0.0) set(other, "offset", display.offset);
    }
  }
  for (const ScalarVariable& variable : model.variables) {
    if (!variable.unit.empty() && listed.insert(variable.unit).second) append(variable.unit);
  }
}

// The categories that the library knows.
void writeLogCategories(pugi::xml_node root) {
  constexpr std::array<std::array<const char*, 2>, 4> categories = {{
      {"logAll", "Everything"},
      {"logError", "Errors; they are sent even when this category is off"},
      {"logFmiCall", "Every call of an FMI function with its arguments"},
      {"logEvent", "Events"},
  }};
  pugi::xml_node list = root.append_child("LogCategories");
  for (const auto& [name, description] : categories) {
    pugi::xml_node category = list.append_child("Category");
    set(category, "name", name);
    set(category, "description", description);
  }
}

void writeExperiment(pugi::xml_node root, const ModelDescription& model) {
  pugi::xml_node experiment = root.append_child("DefaultExperiment");
  for (const auto& [name, member] : experimentNumbers) set(experiment, name, model.*member);
  if (experiment.first_attribute().empty()) root.remove_child(experiment);
}

void writeVariables(pugi::xml_node root, const ModelDescription& model) {
  pugi::xml_node list = root.append_child("ModelVariables");
  for (const ScalarVariable& variable : model.variables) {
    pugi::xml_node node = list.append_child("ScalarVariable");
    set(node, "name", variable.name);
    set(node, "valueReference", std::to_string(variable.valueReference));
    setUnlessEmpty(node, "description", variable.description);
    set(node, "causality", variable.causality);
    set(node, "variability", variable.variability);
    setUnlessEmpty(node, "initial", variable.initial);
    pugi::xml_node real = node.append_child("Real");
    setUnlessEmpty(real, "unit", variable.unit);
    if (variable.displayUnit) set(real, "displayUnit", variable.displayUnit->name);
    set(real, "min", variable.min);
    set(real, "max", variable.max);
    set(real, "nominal", variable.nominal);
    set(real, "start", variable.start);
  }
}

// An output depends on everything that the model has, as nobody knows better: hence no
// dependencies.
void writeStructure(pugi::xml_node root, const ModelDescription& model) {
  pugi::xml_node structure = root.append_child("ModelStructure");
  for (const char* const list : {"Outputs", "InitialUnknowns"}) {
    pugi::xml_node unknowns;
    for (std::size_t i = 0; i < model.variables.size(); ++i) {
      if (model.variables[i].causality != "output") continue;
      if (unknowns.empty()) unknowns = structure.append_child(list);
      set(unknowns.append_child("Unknown"), "index", std::to_string(i + 1));
    }
  }
}

}  // namespace

std::string writeModelDescription(const ModelDescription& model) {
  pugi::xml_document document;
  pugi::xml_node declaration = document.append_child(pugi::node_declaration);
  set(declaration, "version", "1.0");
  set(declaration, "encoding", "UTF-8");
  pugi::xml_node root = document.append_child("fmiModelDescription");
  writeHead(root, model);
  writeUnits(root, model);
  writeLogCategories(root);
  writeExperiment(root, model);
  writeVariables(root, model);
  writeStructure(root, model);
  std::ostringstream text;
  document.save(text, "  ");
  return text.str();
}
