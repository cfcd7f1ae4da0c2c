// What each variable says of itself, and of others with the same value reference.
#include <algorithm>
#include <cstdint>
#include <map>

#include "checker/combinations.h"
#include "checker/rules.h"
#include "checker/structured_name.h"
#include "words/numbers.h"
#include "words/text.h"

namespace {

std::string reasonForStart(const SubjectVariable& variable) {
  return variable.causality == "input" || variable.causality == "independent"
             ? "causality is " + std::string(variable.causality)
             : "initial is " + std::string(variable.initial);
}

void checkStartValue(const SubjectVariable& variable, const Report& report) {
  const auto start = variable.type == "String" || variable.type == "Boolean"
                         ? std::nullopt
                         : parseNumber(variable.value.attribute("start").value());
  if (!start) return;
  const auto expect = [&](const std::string& expected) {
    report(variable.node, "start is " + numberText(*start) + ", expected " + expected);
  };
  const auto min = variable.number("min"), max = variable.number("max");
  if (min && !(*start >= *min)) expect("at least min, " + numberText(*min));
  if (max && !(*start <= *max)) expect("at most max, " + numberText(*max));
  if (variable.type != "Enumeration" || !variable.declared) return;
  for (const pugi::xml_node item : variable.declared.children("Item"))
    if (parseNumber(item.attribute("value").value()) == start) return;
  expect("the value of an Item of its type");
}

// Integers and enumerations share their value references.
std::string_view baseOf(const SubjectVariable& variable) {
  return variable.type == "Enumeration" ? "Integer" : variable.type;
}

void checkAlias(const SubjectVariable& one, const SubjectVariable& other, bool startIsTaken,
                const Report& report) {
  const auto differs = [&](const std::string& what) {
    report(one.node, "has the value reference of " + inQuotes(other.name) + ", " + what);
  };
  const bool constant = one.variability == "constant";
  const pugi::xml_attribute start = one.value.attribute("start");
  const pugi::xml_attribute otherStart = other.value.attribute("start");
  if (one.text("unit") != other.text("unit"))
    differs("and the unit " + inQuotes(one.text("unit")) + ", expected " +
            inQuotes(other.text("unit")) + ", too");
  if (constant != (other.variability == "constant")) {
    differs("expected both to be constant, or none");
  } else if (constant && std::string_view(start.value()) != otherStart.value()) {
    differs("and the start value " + inQuotes(start.value()) + ", expected " +
            inQuotes(otherStart.value()) + ", too");
  } else if (!constant && start && startIsTaken) {
    differs("which has a start value: expected it at only one of the aliases");
  }
}

void checkNames(const Subject& description, const Report& report) {
  const std::string_view convention =
      description.root.attribute("variableNamingConvention").value();
  for (const SubjectVariable& variable : description.variables) {
    if (!variable.node.attribute("name")) continue;
    if (variable.name.empty()) {
      report(variable.node, "name is empty");
    } else if (variable.name.find_first_of("\n\r\t") != variable.name.npos) {
      report(variable.node, "has a line break or tab in its name");
    } else if (convention == "structured" && !isStructuredName(variable.name)) {
      report(variable.node,
             "has a name that is not structured, expected such as a.b[1] or der(x), or "
             "variableNamingConvention to be flat");
    }
  }
}

void checkCombinations(const Subject& description, const Report& report) {
  bool independent = false;
  for (const SubjectVariable& variable : description.variables) {
    const std::string both = "causality " + printable(variable.causality) + " with variability " +
                             printable(variable.variability);
    const auto allowed = allowedInitial(variable.causality, variable.variability);
    const pugi::xml_attribute initial = variable.node.attribute("initial");
    if (variable.variability == "continuous" && !variable.type.empty() && variable.type != "Real")
      report(variable.node,
             std::string("is continuous") +
                 (variable.node.attribute("variability") ? "" : ", which is the default") +
                 ", expected another variability, as it is no Real");
    if (!isAllowed(variable.causality, variable.variability)) {
      report(variable.node, both + " is not allowed");
    } else if (initial && std::ranges::find(allowed, initial.value()) == allowed.end()) {
      report(variable.node, "initial is " + inQuotes(initial.value()) + ", expected " +
                                (allowed.empty() ? "none" : joined(allowed, " or ")) + " for " +
                                both);
    }
    if (variable.causality != "independent") continue;
    if (independent) report(variable.node, "is independent, expected at most one such variable");
    if (variable.type != "Real") report(variable.node, "is independent, expected a Real");
    independent = true;
  }
}

void checkStarts(const Subject& description, const Report& report) {
  for (const SubjectVariable& variable : description.variables) {
    const bool given = !variable.value.attribute("start").empty();
    const bool required = variable.causality == "input" || variable.initial == "exact" ||
                          variable.initial == "approx";
    const bool possible =
        required || (variable.causality != "independent" && variable.initial != "calculated");
    if (given ? !possible : required)
      report(variable.node, std::string(given ? "has a start value, expected none"
                                              : "has no start value, expected one") +
                                ", as " + reasonForStart(variable));
    checkStartValue(variable, report);
  }
}

void checkAliases(const Subject& description, const Report& report) {
  struct Aliases {
    const SubjectVariable* first;
    bool started;  // one of them has a start value
  };
  std::map<std::pair<std::string_view, std::uint32_t>, Aliases> known;
  for (const SubjectVariable& variable : description.variables) {
    const auto reference =
        parseWhole<std::uint32_t>(variable.node.attribute("valueReference").value());
    if (variable.type.empty() || !reference) continue;
    const std::pair key(baseOf(variable), *reference);
    Aliases& aliases = known.try_emplace(key, Aliases{&variable, false}).first->second;
    if (aliases.first != &variable) checkAlias(variable, *aliases.first, aliases.started, report);
    aliases.started = aliases.started || variable.value.attribute("start");
  }
}

void checkStates(const Subject& description, const Report& report) {
  for (const SubjectVariable& variable : description.variables) {
    const pugi::xml_attribute reinit = variable.value.attribute("reinit");
    if (isTrue(reinit) && !description.states.contains(description.indexOf(variable)))
      report(variable.node,
             "reinit is true, expected it only where another variable says that it "
             "is the derivative of this one");
    const pugi::xml_attribute attribute = variable.value.attribute("derivative");
    if (!attribute) continue;
    const auto* const state = description.variable(attribute.value());
    if (state == nullptr)
      report(variable.node, "derivative is " + inQuotes(attribute.value()) + ", expected " +
                                description.anyIndex());
    else if (state == &variable || state->type != "Real" || state->variability != "continuous")
      report(variable.node, "is the derivative of " + inQuotes(state->name) +
                                ", expected another variable, a continuous Real");
    if (variable.variability != "continuous")
      report(variable.node, "is a derivative, expected it to be continuous");
  }
}

}  // namespace

const std::vector<NamedCheck> variableRules = {{"name", checkNames},
                                               {"combination", checkCombinations},
                                               {"start", checkStarts},
                                               {"alias", checkAliases},
                                               {"derivative", checkStates}};
