#include "model_description.h"

#include <algorithm>
#include <charconv>
#include <pugixml.hpp>
#include <set>
#include <sstream>
#include <unordered_map>

#include "command.h"
#include "text.h"

namespace {

constexpr std::array<const char*, 8> baseUnits = {"kg", "m", "s", "A", "K", "mol", "cd", "rad"};
constexpr std::array<const char*, 5> variableTypes = {"Real", "Integer", "Boolean", "String",
                                                      "Enumeration"};

class Reader {
 public:
  explicit Reader(std::string_view text) : xml(text) {}

  ModelDescription read() {
    const pugi::xml_node root = parse();
    ModelDescription model;
    readHead(root, model);
    readExperiment(root.child("DefaultExperiment"), model);
    for (const pugi::xml_node unit : root.child("UnitDefinitions").children("Unit")) {
      model.units.push_back(readUnit(unit));
    }
    for (const pugi::xml_node type : root.child("TypeDefinitions").children("SimpleType")) {
      declaredTypes.emplace(required(type, "name"), type);
    }
    for (const pugi::xml_node variable : root.child("ModelVariables").children("ScalarVariable")) {
      model.variables.push_back(readVariable(variable));
    }
    return model;
  }

 private:
  pugi::xml_node parse() {
    const pugi::xml_parse_result result =
        document.load_buffer(xml.data(), xml.size(), pugi::parse_default | pugi::parse_doctype);
    if (!result) fail(result.offset, std::string("it is no XML: ") + result.description());
    for (const pugi::xml_node node : document) {
      if (node.type() == pugi::node_doctype) {
        fail(node.offset_debug(), "it has a DOCTYPE, which no model description needs");
      }
    }
    const pugi::xml_node root = document.document_element();
    const std::string_view version = root.attribute("fmiVersion").value();
    if (std::string_view(root.name()) != "fmiModelDescription") {
      fail(root, "expected the element fmiModelDescription, got " + inQuotes(root.name()));
    }
    if (version != "2.0") fail(root, "expected an FMU of FMI 2.0, got FMI " + inQuotes(version));
    return root;
  }

  void readHead(const pugi::xml_node& root, ModelDescription& model) {
    model.modelName = required(root, "modelName");
    model.guid = required(root, "guid");
    model.description = root.attribute("description").value();
    model.author = root.attribute("author").value();
    model.version = root.attribute("version").value();
    model.license = root.attribute("license").value();
    model.copyright = root.attribute("copyright").value();
    model.generationTool = root.attribute("generationTool").value();
    model.generationDateAndTime = root.attribute("generationDateAndTime").value();
    const pugi::xml_node coSimulation = root.child("CoSimulation");
    const pugi::xml_node modelExchange = root.child("ModelExchange");
    model.coSimulation = !coSimulation.empty();
    model.modelExchange = !modelExchange.empty();
    const pugi::xml_node kind = model.coSimulation ? coSimulation : modelExchange;
    if (kind.empty()) fail(root, "it has neither CoSimulation nor ModelExchange");
    model.modelIdentifier = required(kind, "modelIdentifier");
    model.needsExecutionTool = isTrue(kind.attribute("needsExecutionTool"));
  }

  void readExperiment(const pugi::xml_node& experiment, ModelDescription& model) {
    model.startTime = number(experiment, "startTime");
    model.stopTime = number(experiment, "stopTime");
    model.stepSize = number(experiment, "stepSize");
    model.tolerance = number(experiment, "tolerance");
  }

  UnitDefinition readUnit(const pugi::xml_node& node) {
    UnitDefinition unit;
    unit.name = required(node, "name");
    const pugi::xml_node base = node.child("BaseUnit");
    unit.hasBaseUnit = !base.empty();
    for (std::size_t i = 0; i < baseUnits.size(); ++i) {
      if (const auto exponent = base.attribute(baseUnits[i])) {
        unit.exponents[i] = integer<int>(base, exponent);
      }
    }
    unit.factor = number(base, "factor").value_or(1.0);
    unit.offset = number(base, "offset").value_or(0.0);
    return unit;
  }

  ScalarVariable readVariable(const pugi::xml_node& node) {
    ScalarVariable variable;
    variable.name = required(node, "name");
    required(node, "valueReference");
    variable.valueReference = integer<std::uint32_t>(node, node.attribute("valueReference"));
    variable.description = node.attribute("description").value();
    variable.causality = node.attribute("causality").as_string("local");
    variable.initial = node.attribute("initial").value();
    const auto type = std::ranges::find_if(
        variableTypes, [&node](const char* name) { return !node.child(name).empty(); });
    if (type == variableTypes.end())
      fail(node, "variable " + inQuotes(variable.name) + " has no type");
    variable.type = *type;
    variable.variability = node.attribute("variability")
                               .as_string(variable.type == "Real" ? "continuous" : "discrete");
    readType(node.child(*type), *type, variable);
    return variable;
  }

  void readType(const pugi::xml_node& own, const char* type, ScalarVariable& variable) {
    pugi::xml_node declared;
    if (const auto name = own.attribute("declaredType")) {
      const auto found = declaredTypes.find(name.value());
      if (found == declaredTypes.end()) {
        fail(own, "variable " + inQuotes(variable.name) + " is of the type " +
                      inQuotes(name.value()) + ", which is not defined");
      }
      declared = found->second.child(type);
    }
    const auto inherited = [&](const char* name) {
      return number(own.attribute(name).empty() ? declared : own, name);
    };
    const pugi::xml_attribute unit = own.attribute("unit");
    variable.unit = (unit.empty() ? declared.attribute("unit") : unit).value();
    if (variable.type == "Boolean") {
      if (const auto start = own.attribute("start")) variable.start = isTrue(start) ? 1.0 : 0.0;
    } else if (variable.type != "String") {
      variable.start = number(own, "start");
      variable.min = inherited("min");
      variable.max = inherited("max");
      variable.nominal = inherited("nominal");
    }
  }

  const char* required(const pugi::xml_node& node, const char* name) {
    const pugi::xml_attribute attribute = node.attribute(name);
    if (attribute.empty()) {
      fail(node, std::string("the element ") + node.name() + " has no attribute " + name);
    }
    return attribute.value();
  }

  std::optional<double> number(const pugi::xml_node& node, const char* name) {
    const pugi::xml_attribute attribute = node.attribute(name);
    if (attribute.empty()) return std::nullopt;
    const std::optional<double> value = parseNumber(attribute.value());
    if (!value) failNumber(node, attribute, "a number");
    return value;
  }

  template <class Integer>
  Integer integer(const pugi::xml_node& node, const pugi::xml_attribute& attribute) {
    const std::string_view text = attribute.value();
    Integer value{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size()) {
      failNumber(node, attribute,
                 std::is_signed_v<Integer> ? "a whole number" : "a whole number from 0 on");
    }
    return value;
  }

  static bool isTrue(const pugi::xml_attribute& attribute) {
    const std::string_view text = attribute.value();
    return text == "true" || text == "1";
  }

  [[noreturn]] void failNumber(const pugi::xml_node& node, const pugi::xml_attribute& attribute,
                               const char* expected) {
    fail(node, std::string("the attribute ") + attribute.name() + " is " +
                   inQuotes(attribute.value()) + ", expected " + expected);
  }

  [[noreturn]] void fail(const pugi::xml_node& node, const std::string& reason) {
    fail(node.offset_debug(), reason);
  }

  [[noreturn]] void fail(std::ptrdiff_t offset, const std::string& reason) {
    const auto end = static_cast<std::size_t>(std::max(offset, std::ptrdiff_t{0}));
    const auto line = 1 + std::ranges::count(xml.substr(0, end), '\n');
    throw Failure("modelDescription.xml, line " + std::to_string(line) + ": " + reason);
  }

  std::string_view xml;
  pugi::xml_document document;
  std::unordered_map<std::string, pugi::xml_node> declaredTypes;
};

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
  setUnlessEmpty(root, "description", model.description);
  setUnlessEmpty(root, "author", model.author);
  setUnlessEmpty(root, "version", model.version);
  setUnlessEmpty(root, "copyright", model.copyright);
  setUnlessEmpty(root, "license", model.license);
  setUnlessEmpty(root, "generationTool", model.generationTool);
  setUnlessEmpty(root, "generationDateAndTime", model.generationDateAndTime);
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
  if (!model.startTime && !model.stopTime && !model.tolerance && !model.stepSize) return;
  pugi::xml_node experiment = root.append_child("DefaultExperiment");
  set(experiment, "startTime", model.startTime);
  set(experiment, "stopTime", model.stopTime);
  set(experiment, "tolerance", model.tolerance);
  set(experiment, "stepSize", model.stepSize);
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

ModelDescription readModelDescription(std::string_view xml) {
  return Reader(xml).read();
}

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
