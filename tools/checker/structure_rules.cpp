// ModelStructure: who depends on whom.
#include <algorithm>

#include "checker/rules.h"
#include "words/numbers.h"
#include "words/text.h"

namespace {

auto unknownsOf(const Subject& description, const char* list) {
  return description.root.child("ModelStructure").child(list).children("Unknown");
}

using Wanted = std::function<bool(const SubjectVariable&)>;

// Every index is that of a variable that is `wanted`, and none is there twice; in a list that has
// to be `complete` all of these are there.
void checkList(const Subject& description, const char* list, const std::string& expected,
               const Wanted& wanted, bool complete, const Report& report) {
  std::set<std::size_t> listed;
  for (const pugi::xml_node unknown : unknownsOf(description, list)) {
    const char* const index = unknown.attribute("index").value();
    if (!parseWhole<std::size_t>(index)) continue;
    const auto* const variable = description.variable(index);
    if (variable == nullptr) {
      report(unknown, "expected " + description.anyIndex());
    } else if (!listed.insert(description.indexOf(*variable)).second) {
      report(unknown, inQuotes(variable->name) + " is listed a second time");
    } else if (!wanted(*variable)) {
      report(unknown, inQuotes(variable->name) + " is listed, expected only " + expected);
    }
  }
  // That there is no ModelStructure is said once.
  if (!complete || !description.root.child("ModelStructure")) return;
  for (const SubjectVariable& variable : description.variables) {
    if (wanted(variable) && !listed.contains(description.indexOf(variable)))
      report(variable.node, "is missing in " + std::string(list) + ", expected it there, as " +
                                (std::string_view(list) == "Outputs"
                                     ? "causality is output"
                                     : "initial is " + std::string(variable.initial)));
  }
}

bool isOutput(const SubjectVariable& variable) {
  return variable.causality == "output";
}

// The variables whose equations are solved for before the run: outputs, calculated parameters,
// states and derivatives that have no exact start.
Wanted initialUnknown(const Subject& description) {
  std::set<const SubjectVariable*> dynamic;
  for (const pugi::xml_node unknown : unknownsOf(description, "Derivatives")) {
    const auto* const derivative = description.variable(unknown.attribute("index").value());
    if (derivative == nullptr) continue;
    dynamic.insert(derivative);
    dynamic.insert(description.variable(derivative->value.attribute("derivative").value()));
  }
  return [dynamic](const SubjectVariable& variable) {
    return variable.causality == "calculatedParameter" ||
           ((isOutput(variable) || dynamic.contains(&variable)) &&
            (variable.initial == "approx" || variable.initial == "calculated"));
  };
}

// What an unknown of the list may depend on.
bool isKnown(const SubjectVariable& variable, bool initially, const Subject& description) {
  if (variable.causality == "input" || variable.causality == "independent") return true;
  return initially ? variable.initial == "exact"
                   : description.states.contains(description.indexOf(variable));
}

void checkKnowns(const pugi::xml_node& unknown, bool initially, const Subject& description,
                 const Report& report) {
  std::size_t last = 0;
  for (const std::string_view word : wordsOf(unknown.attribute("dependencies").value())) {
    const auto index = parseWhole<std::size_t>(word);
    if (!index) continue;
    const auto* const known = description.variable(word);
    if (known == nullptr) {
      report(unknown, "depends on the index " + std::to_string(*index) +
                          ", expected that of a variable, 1 to " +
                          std::to_string(description.variables.size()));
    } else if (*index <= last) {
      report(unknown, "depends on " + std::to_string(*index) + " behind " + std::to_string(last) +
                          ", expected the indexes in ascending order");
    } else if (!isKnown(*known, initially, description)) {
      report(unknown, "depends on " + inQuotes(known->name) + ", expected " +
                          (initially ? "inputs, variables whose initial is exact"
                                     : "inputs, continuous states") +
                          " or the independent variable");
    }
    last = *index;
  }
}

void checkKindsOf(const pugi::xml_node& unknown, const Subject& description, const Report& report) {
  const pugi::xml_attribute kinds = unknown.attribute("dependenciesKind");
  if (!kinds) return;
  const auto words = wordsOf(kinds.value());
  const auto dependencies = wordsOf(unknown.attribute("dependencies").value()).size();
  if (words.size() != dependencies)
    report(unknown, "has " + counted(std::ssize(words), "dependenciesKind") +
                        ", expected one for each of the " + std::to_string(dependencies) +
                        " dependencies");
  const auto* const variable = description.variable(unknown.attribute("index").value());
  const auto isOther = [](std::string_view word) { return word != "dependent"; };
  if (variable != nullptr && variable->type != "Real" && std::ranges::any_of(words, isOther))
    report(unknown, inQuotes(variable->name) + " is no Real, expected only the kind dependent");
}

void checkOutputs(const Subject& description, const Report& report) {
  checkList(description, "Outputs", "variables whose causality is output", isOutput, true, report);
}

void checkDerivatives(const Subject& description, const Report& report) {
  checkList(
      description, "Derivatives", "variables with the attribute derivative",
      [](const SubjectVariable& one) { return !one.value.attribute("derivative").empty(); }, false,
      report);
}

void checkInitialUnknowns(const Subject& description, const Report& report) {
  const std::string expected =
      "outputs, listed derivatives and their states whose initial is approx or calculated, and "
      "calculated parameters";
  checkList(description, "InitialUnknowns", expected, initialUnknown(description), true, report);
  std::size_t last = 0;
  for (const pugi::xml_node unknown : unknownsOf(description, "InitialUnknowns")) {
    const std::size_t index =
        parseWhole<std::size_t>(unknown.attribute("index").value()).value_or(last);
    if (index < last)
      report(unknown, "comes behind " + std::to_string(last) + ", expected ascending indexes");
    last = index;
  }
}

void checkDependencies(const Subject& description, const Report& report) {
  for (const char* const list : {"Outputs", "Derivatives", "InitialUnknowns"}) {
    for (const pugi::xml_node unknown : unknownsOf(description, list)) {
      checkKnowns(unknown, std::string_view(list) == "InitialUnknowns", description, report);
      checkKindsOf(unknown, description, report);
    }
  }
}

}  // namespace

const std::vector<NamedCheck> structureRules = {{"outputs", checkOutputs},
                                                {"derivatives", checkDerivatives},
                                                {"initial-unknowns", checkInitialUnknowns},
                                                {"dependencies", checkDependencies}};
