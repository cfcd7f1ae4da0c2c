#include "packer/unit_warning.h"

#include <set>

#include "words/text.h"

std::string unitWarning(const ModelDescription& model) {
  std::set<std::string> known = {""};
  for (const UnitDefinition& unit : model.units) known.insert(unit.name);
  constexpr std::size_t mostShown = 5;
  std::string names, example;
  std::size_t count = 0;
  for (const ScalarVariable& variable : model.variables) {
    if (!known.insert(variable.unit).second) continue;
    if (++count == 1) example = variable.unit;
    if (count <= mostShown)
      names += (count > 1 ? ", " : "") + inQuotes(variable.unit) + " of " + variable.name;
  }
  if (count == 0) return "";
  if (count > mostShown) names += " and " + std::to_string(count - mostShown) + " more";
  return std::string(count == 1 ? "the unit " : "the units ") + names +
         (count == 1 ? " is" : " are") + " not defined, so importers cannot convert values; " +
         "define " + (count == 1 ? "it" : "each") + " on the class with @UnitDefinition(name = \"" +
         example + "\", kg = ..., m = ..., s = ...), or with unit(Unit.of(\"" + example +
         "\")...) where the model describes itself";
}
