#include "checker/subject.h"

#include <algorithm>

#include "checker/combinations.h"
#include "fmu_file/model_description.h"
#include "words/numbers.h"
#include "words/text.h"

namespace {

pugi::xml_node typeIn(const pugi::xml_node& node) {
  for (const pugi::xml_node child : node.children()) {
    if (std::ranges::find(variableTypes, child.name()) != variableTypes.end()) return child;
  }
  return {};
}

SubjectVariable checkedVariable(const pugi::xml_node& node, const Subject& description) {
  SubjectVariable variable;
  variable.node = node;
  variable.value = typeIn(node);
  variable.type = variable.value.name();
  variable.name = node.attribute("name").value();
  variable.causality = node.attribute("causality").as_string("local");
  variable.variability = node.attribute("variability").as_string("continuous");
  const auto allowed = allowedInitial(variable.causality, variable.variability);
  variable.initial =
      node.attribute("initial").as_string(allowed.empty() ? "" : allowed.front().data());
  const auto type = description.types.find(variable.value.attribute("declaredType").value());
  if (type != description.types.end())
    variable.declared = type->second.child(variable.value.name());
  return variable;
}

std::string wordFor(std::string_view element) {
  return element == "ScalarVariable" ? "variable"
         : element == "SimpleType"   ? "type"
         : element == "Unit"         ? "unit"
                                     : std::string(element);
}

}  // namespace

Subject::Subject(std::string_view content, const std::vector<std::string>& allFiles)
    : text(content), xml(content), files(allFiles), root(xml.root()) {
  for (const pugi::xml_node unit : root.child("UnitDefinitions").children("Unit"))
    units.emplace(unit.attribute("name").value(), unit);
  for (const pugi::xml_node type : root.child("TypeDefinitions").children("SimpleType"))
    types.emplace(type.attribute("name").value(), type);
  for (const pugi::xml_node node : root.child("ModelVariables").children("ScalarVariable")) {
    variables.push_back(checkedVariable(node, *this));
    if (const auto state =
            parseWhole<std::size_t>(variables.back().value.attribute("derivative").value()))
      states.insert(*state);
  }
}

const SubjectVariable* Subject::variable(std::string_view text) const {
  const auto index = parseWhole<std::size_t>(text);
  return index && *index >= 1 && *index <= variables.size() ? &variables[*index - 1] : nullptr;
}

std::string Subject::anyIndex() const {
  return "the index of a variable, 1 to " + std::to_string(variables.size());
}

std::string_view SubjectVariable::text(const char* attribute) const {
  return value.attribute(attribute).as_string(declared.attribute(attribute).value());
}

std::optional<double> SubjectVariable::number(const char* attribute) const {
  return parseNumber(text(attribute));
}

std::string placeOf(const pugi::xml_node& node) {
  const std::string_view element = node.name();
  const pugi::xml_node parent = node.parent();
  if (!parent.parent()) return std::string(element);
  std::string above = parent.parent().parent() ? placeOf(parent) : "";
  // What a variable holds is the variable for who reads this.
  if (std::ranges::find(variableTypes, element) != variableTypes.end()) return above;
  std::string own = wordFor(element);
  const bool list = own != element || above == "ModelStructure";
  if (const auto name = node.attribute("name")) own += " " + inQuotes(name.value());
  if (const auto index = node.attribute("index")) own += " " + printable(index.value());
  return list || above.empty() ? own : above + ", " + own;
}

std::vector<std::string_view> wordsOf(std::string_view text, char separator) {
  const std::string separators = separator == ' ' ? " \n\t\r" : std::string(1, separator);
  std::vector<std::string_view> words;
  while ((text = text.substr(std::min(text.find_first_not_of(separators), text.size()))) != "") {
    words.push_back(text.substr(0, text.find_first_of(separators)));
    text.remove_prefix(words.back().size());
  }
  return words;
}
