// Units, types, and the ranges that values have by them.
#include <set>

#include "checker/rules.h"
#include "words/numbers.h"
#include "words/text.h"

namespace {

// The unit that a variable or type itself names. A display unit that its unit does not define means
// nothing by the standard, and is no fault.
void checkUnitOf(const pugi::xml_node& real, std::string_view unit, const Subject& description,
                 const Report& report) {
  if (real.attribute("unit") && !description.units.contains(unit))
    report(real, "its unit " + inQuotes(unit) + " is not defined in UnitDefinitions");
  const pugi::xml_attribute display = real.attribute("displayUnit");
  if (display && unit.empty())
    report(real, "has the display unit " + inQuotes(display.value()) + " and no unit");
}

void checkOrder(const pugi::xml_node& value, const std::optional<double>& min,
                const std::optional<double>& max, const Report& report) {
  const bool givesRange = value.attribute("min") || value.attribute("max");
  if (givesRange && min && max && !(*min <= *max))
    report(value, "min is " + numberText(*min) + ", expected at most max, " + numberText(*max));
  const auto nominal = parseNumber(value.attribute("nominal").value());
  if (nominal && !(*nominal > 0))
    report(value, "nominal is " + numberText(*nominal) + ", expected more than 0");
}

void checkUnits(const Subject& description, const Report& report) {
  for (const auto& [name, type] : description.types) {
    const pugi::xml_node real = type.child("Real");
    checkUnitOf(real, real.attribute("unit").value(), description, report);
  }
  for (const SubjectVariable& variable : description.variables) {
    if (variable.type == "Real")
      checkUnitOf(variable.value, variable.text("unit"), description, report);
  }
}

void checkDeclaredTypes(const Subject& description, const Report& report) {
  for (const SubjectVariable& variable : description.variables) {
    const pugi::xml_attribute name = variable.value.attribute("declaredType");
    if (!name || variable.declared) continue;
    const bool exists = description.types.contains(name.value());
    report(variable.node,
           "its type " + inQuotes(name.value()) +
               (exists ? " is not of the kind " + std::string(variable.type) + " as it is itself"
                       : " is not defined in TypeDefinitions"));
  }
}

void checkEnumerations(const Subject& description, const Report& report) {
  for (const auto& [typeName, type] : description.types) {
    const pugi::xml_node items = type.child("Enumeration");
    checkUniqueIn(items, "Item", report);
    std::set<double> values;
    for (const pugi::xml_node item : items.children("Item")) {
      const auto value = parseNumber(item.attribute("value").value());
      if (value && !values.insert(*value).second)
        report(item, "another Item has the value " + numberText(*value) +
                         ", too, expected one of its own");
    }
  }
}

void checkRanges(const Subject& description, const Report& report) {
  for (const auto& [name, type] : description.types) {
    for (const pugi::xml_node value : type.children())
      checkOrder(value, parseNumber(value.attribute("min").value()),
                 parseNumber(value.attribute("max").value()), report);
  }
  for (const SubjectVariable& variable : description.variables)
    checkOrder(variable.value, variable.number("min"), variable.number("max"), report);
}

}  // namespace

const std::vector<NamedCheck> typeRules = {{"unit", checkUnits},
                                           {"type", checkDeclaredTypes},
                                           {"enumeration", checkEnumerations},
                                           {"range", checkRanges}};
