#include "fmu_file/description_reader.h"

#include <algorithm>
#include <cmath>
#include <unordered_map>

#include "fmu_file/description_xml.h"
#include "words/numbers.h"
#include "words/text.h"

namespace {

class Reader {
 public:
  explicit Reader(std::string_view text) : xml(text) {}

  ModelDescription read() {
    const pugi::xml_node root = xml.root();
    const std::string_view version = root.attribute("fmiVersion").value();
    if (version != "2.0")
      xml.fail(root, "expected an FMU of FMI 2.0, got FMI " + inQuotes(version));
    ModelDescription model;
    readHead(root, model);
    for (const auto& [name, member] : experimentNumbers)
      model.*member = number(root.child("DefaultExperiment"), name);
    for (const pugi::xml_node unit : root.child("UnitDefinitions").children("Unit")) {
      model.units.push_back(readUnit(unit));
    }
    for (const UnitDefinition& unit : model.units) units.emplace(unit.name, &unit);
    for (const pugi::xml_node type : root.child("TypeDefinitions").children("SimpleType")) {
      declaredTypes.emplace(required(type, "name"), type);
    }
    for (const pugi::xml_node variable : root.child("ModelVariables").children("ScalarVariable")) {
      model.variables.push_back(readVariable(variable));
    }
    return model;
  }

 private:
  void readHead(const pugi::xml_node& root, ModelDescription& model) {
    model.modelName = required(root, "modelName");
    model.guid = required(root, "guid");
    for (const auto& [name, member] : headTexts) model.*member = root.attribute(name).value();
    const pugi::xml_node coSimulation = root.child("CoSimulation");
    const pugi::xml_node modelExchange = root.child("ModelExchange");
    model.coSimulation = !coSimulation.empty();
    model.modelExchange = !modelExchange.empty();
    const pugi::xml_node kind = model.coSimulation ? coSimulation : modelExchange;
    if (kind.empty()) xml.fail(root, "it has neither CoSimulation nor ModelExchange");
    model.modelIdentifier = required(kind, "modelIdentifier");
    model.needsExecutionTool = isTrue(kind.attribute("needsExecutionTool"));
    model.variableStepSize =
        isTrue(coSimulation.attribute("canHandleVariableCommunicationStepSize"));
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
    for (const pugi::xml_node display : node.children("DisplayUnit")) {
      unit.displayUnits.push_back({required(display, "name"),
                                   number(display, "factor").value_or(1.0),
                                   number(display, "offset").value_or(0.0)});
    }
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
        variableTypes, [&node](std::string_view name) { return !node.child(name.data()).empty(); });
    if (type == variableTypes.end())
      xml.fail(node, "variable " + inQuotes(variable.name) + " has no type");
    variable.type = *type;
    variable.variability = node.attribute("variability")
                               .as_string(variable.type == "Real" ? "continuous" : "discrete");
    readType(node.child(type->data()), type->data(), variable);
    return variable;
  }

  void readType(const pugi::xml_node& own, const char* type, ScalarVariable& variable) {
    pugi::xml_node declared;
    if (const auto name = own.attribute("declaredType")) {
      const auto found = declaredTypes.find(name.value());
      if (found == declaredTypes.end()) {
        xml.fail(own, "variable " + inQuotes(variable.name) + " is of the type " +
                          inQuotes(name.value()) + ", which is not defined");
      }
      declared = found->second.child(type);
    }
    const auto inherited = [&](const char* name) {
      return number(own.attribute(name).empty() ? declared : own, name);
    };
    const auto text = [&](const char* name) {
      return (own.attribute(name).empty() ? declared : own).attribute(name);
    };
    variable.unit = text("unit").value();
    variable.displayUnit = findDisplayUnit(variable.unit, text("displayUnit").value());
    variable.relativeQuantity = isTrue(text("relativeQuantity"));
    // A difference of two values is converted by the factor alone (FMI 2.0.2, 2.2.3).
    if (variable.displayUnit && variable.relativeQuantity) variable.displayUnit->offset = 0.0;
    if (variable.type == "Boolean") {
      const auto start = own.attribute("start");
      if (start && !parseBoolean(start.value())) failNumber(own, start, "true or false");
      if (start) variable.start = isTrue(start) ? 1.0 : 0.0;
    } else if (variable.type == "String") {
      if (const auto start = own.attribute("start")) variable.startText = start.value();
    } else {
      variable.start = number(own, "start");
      variable.min = inherited("min");
      variable.max = inherited("max");
      variable.nominal = inherited("nominal");
    }
  }

  // Nothing for one that is not defined or makes no sense: values are shown in the unit itself.
  std::optional<DisplayUnit> findDisplayUnit(const std::string& unit, std::string_view name) const {
    const auto defined = units.find(unit);
    if (defined == units.end()) return std::nullopt;
    const auto& candidates = defined->second->displayUnits;
    const auto found = std::ranges::find(candidates, name, &DisplayUnit::name);
    const bool usable =
        found != candidates.end() && std::isnormal(found->factor) && std::isfinite(found->offset);
    return usable ? std::optional(*found) : std::nullopt;
  }

  const char* required(const pugi::xml_node& node, const char* name) {
    const pugi::xml_attribute attribute = node.attribute(name);
    if (attribute.empty()) {
      xml.fail(node, std::string("the element ") + node.name() + " has no attribute " + name);
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
    const std::optional<Integer> value = parseWhole<Integer>(attribute.value());
    if (!value)
      failNumber(node, attribute,
                 std::is_signed_v<Integer> ? "a whole number" : "a whole number from 0 on");
    return *value;
  }

  [[noreturn]] void failNumber(const pugi::xml_node& node, const pugi::xml_attribute& attribute,
                               const char* expected) {
    xml.fail(node, std::string("the attribute ") + attribute.name() + " is " +
                       inQuotes(attribute.value()) + ", expected " + expected);
  }

  DescriptionXml xml;
  std::unordered_map<std::string, const UnitDefinition*> units;
  std::unordered_map<std::string, pugi::xml_node> declaredTypes;
};

}  // namespace

ModelDescription readModelDescription(std::string_view xml) {
  return Reader(xml).read();
}
