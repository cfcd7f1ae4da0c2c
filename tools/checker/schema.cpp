// The elements of a model description, with their attributes and children, as one table.
#include <algorithm>
#include <array>
#include <cstdint>
#include <map>

#include "checker/rules.h"
#include "words/numbers.h"
#include "words/spelling.h"
#include "words/text.h"

namespace {

// An attribute is `name`, `name!` when it is required, with `:` and what it holds unless that is a
// text; the values that are allowed have `|` between them. Children stand in this order: `name`
// once, `name?` at most once, `name+` at least once, `name*` as often as you like; `|` is "or".
// `...` is whatever a tool has to say.
struct Element {
  std::string_view name;  // with its parent where others are called alike
  std::string_view attributes;
  std::string_view children;
};

// clang-format off
constexpr std::array<Element, 36> elements = {{
    {"fmiModelDescription",
     "fmiVersion! modelName! guid! description author version copyright license generationTool "
     "generationDateAndTime:date variableNamingConvention:flat|structured "
     "numberOfEventIndicators:index",
     "ModelExchange|CoSimulation+ UnitDefinitions? TypeDefinitions? LogCategories? "
     "DefaultExperiment? VendorAnnotations? ModelVariables ModelStructure"},
    {"ModelExchange",
     "modelIdentifier! needsExecutionTool:boolean "
     "canBeInstantiatedOnlyOncePerProcess:boolean canNotUseMemoryManagementFunctions:boolean "
     "canGetAndSetFMUstate:boolean canSerializeFMUstate:boolean "
     "providesDirectionalDerivative:boolean "
     "completedIntegratorStepNotNeeded:boolean",
     "SourceFiles?"},
    {"CoSimulation",
     "modelIdentifier! needsExecutionTool:boolean "
     "canBeInstantiatedOnlyOncePerProcess:boolean canNotUseMemoryManagementFunctions:boolean "
     "canGetAndSetFMUstate:boolean canSerializeFMUstate:boolean "
     "providesDirectionalDerivative:boolean "
     "canHandleVariableCommunicationStepSize:boolean canInterpolateInputs:boolean "
     "maxOutputDerivativeOrder:index canRunAsynchronuously:boolean",
     "SourceFiles?"},
    {"SourceFiles", "", "File+"},
    {"File", "name!", ""},
    {"UnitDefinitions", "", "Unit+"},
    {"Unit", "name!", "BaseUnit? DisplayUnit*"},
    {"BaseUnit",
     "kg:int m:int s:int A:int K:int mol:int cd:int rad:int factor:number offset:number", ""},
    {"DisplayUnit", "name! factor:number offset:number", ""},
    {"TypeDefinitions", "", "SimpleType+"},
    {"SimpleType", "name! description", "Real|Integer|Boolean|String|Enumeration"},
    {"SimpleType/Real",
     "quantity unit displayUnit relativeQuantity:boolean min:number max:number nominal:number "
     "unbounded:boolean", ""},
    {"SimpleType/Integer", "quantity min:int max:int", ""},
    {"SimpleType/Boolean", "", ""},
    {"SimpleType/String", "", ""},
    {"SimpleType/Enumeration", "quantity", "Item+"},
    {"Item", "name! value!:int description", ""},
    {"LogCategories", "", "Category+"},
    {"Category", "name! description", ""},
    {"DefaultExperiment", "startTime:number stopTime:number tolerance:number stepSize:number", ""},
    {"VendorAnnotations", "", "Tool+"},
    {"Annotations", "", "Tool+"},
    {"Tool", "name!", "..."},
    {"ModelVariables", "", "ScalarVariable+"},
    {"ScalarVariable",
     "name! valueReference!:index description "
     "causality:parameter|calculatedParameter|input|output|local|independent "
     "variability:constant|fixed|tunable|discrete|continuous "
     "initial:exact|approx|calculated canHandleMultipleSetPerTimeInstant:boolean",
     "Real|Integer|Boolean|String|Enumeration Annotations?"},
    {"ScalarVariable/Real",
     "quantity unit displayUnit relativeQuantity:boolean min:number max:number nominal:number "
     "unbounded:boolean declaredType start:number derivative:index reinit:boolean", ""},
    {"ScalarVariable/Integer", "quantity min:int max:int declaredType start:int", ""},
    {"ScalarVariable/Boolean", "declaredType start:boolean", ""},
    {"ScalarVariable/String", "declaredType start", ""},
    {"ScalarVariable/Enumeration", "quantity min:int max:int declaredType! start:int", ""},
    {"ModelStructure", "", "Outputs? Derivatives? InitialUnknowns?"},
    {"Outputs", "", "Unknown+"},
    {"Derivatives", "", "Unknown+"},
    {"InitialUnknowns", "", "Unknown+"},
    {"InitialUnknowns/Unknown",
     "index!:index dependencies:indexes dependenciesKind:kinds|dependent|constant", ""},
    {"Unknown", "index!:index dependencies:indexes dependenciesKind:kinds|dependent|constant|fixed|tunable|discrete",
     ""}}};
// clang-format on

bool isOneOf(std::string_view text, const std::vector<std::string_view>& choices) {
  return std::ranges::find(choices, text) != choices.end();
}

bool isNumber(std::string_view text) {
  // XML Schema spells them so and not otherwise.
  if (text == "INF" || text == "-INF" || text == "NaN") return true;
  return parseNumber(text) && text.find_first_of("iInN") == text.npos;
}

bool isDate(std::string_view text) {
  constexpr std::string_view form = "0000-00-00T00:00:00";
  if (text.size() < form.size()) return false;
  for (std::size_t i = 0; i < form.size(); ++i) {
    const bool digit = text[i] >= '0' && text[i] <= '9';
    if (form[i] == '0' ? !digit : text[i] != form[i]) return false;
  }
  return text.find_first_not_of("0123456789.:Z+-", form.size()) == text.npos;
}

// What the attribute should hold; empty when it does. The kind is number, int (32 bits), index
// (from 0 on), date, boolean, indexes (a list), values with `|` between them, or `kinds|` and such
// values (a list of them).
std::string expectedValue(std::string_view text, std::string_view kind) {
  const auto words = wordsOf(text);
  auto choices = wordsOf(kind, '|');
  const std::string_view value = trimmed(text);
  const auto isIndex = [](std::string_view word) {
    return parseWhole<std::uint32_t>(word).has_value();
  };
  if (kind == "number") return isNumber(value) ? "" : "a number";
  if (kind == "int") return parseWhole<std::int32_t>(value) ? "" : "a whole number of 32 bits";
  if (kind == "index") return isIndex(value) ? "" : "a whole number from 0 on";
  if (kind == "date") return isDate(value) ? "" : "a time such as 2009-12-08T14:33:22Z";
  if (kind == "boolean") return parseBoolean(value) ? "" : "true or false";
  if (kind == "indexes")
    return std::ranges::all_of(words, isIndex) ? "" : "indexes with blanks between";
  const bool list = choices[0] == "kinds";
  if (list) choices.erase(choices.begin());
  const auto allowed = [&choices](std::string_view word) { return isOneOf(word, choices); };
  const bool right = list ? std::ranges::all_of(words, allowed) : allowed(text);
  return right ? "" : "one of " + joined(choices, ", ");
}

void checkAttributes(const pugi::xml_node& node, const Element& element, const Report& report) {
  std::map<std::string_view, std::string_view> known;  // with what they hold
  for (const std::string_view word : wordsOf(element.attributes)) {
    const std::string_view name = word.substr(0, word.find_first_of("!:"));
    known[name] = word.find(':') == word.npos ? "" : word.substr(word.find(':') + 1);
    const bool required = word.substr(name.size()).starts_with('!');
    if (required && !node.attribute(std::string(name).c_str()))
      report(node, "has no attribute " + std::string(name) + ", which is required");
  }
  for (const pugi::xml_attribute attribute : node.attributes()) {
    const std::string_view name = attribute.name();
    // Those of XML itself, which many tools write.
    if (name.starts_with("xmlns") || name.starts_with("xsi:") || name.starts_with("xml:")) continue;
    const auto found = known.find(name);
    if (found == known.end()) {
      std::vector<std::string_view> names;
      for (const auto& [other, kind] : known) names.push_back(other);
      const std::string closest(closestName(name, names));
      report(node, "has the attribute " + inQuotes(name) + ", which FMI 2.0 does not know" +
                       (closest.empty() ? "" : ", did you mean " + closest + "?"));
    } else if (const std::string wanted =
                   found->second.empty() ? "" : expectedValue(attribute.value(), found->second);
               !wanted.empty()) {
      report(node,
             std::string(name) + " is " + inQuotes(attribute.value()) + ", expected " + wanted);
    }
  }
}

struct Child {
  std::vector<std::string_view> names;
  bool atLeastOne, manyAllowed;
};

std::vector<Child> childrenOf(const Element& element) {
  std::vector<Child> children;
  for (std::string_view word : wordsOf(element.children)) {
    const char mark = word.back();
    if (mark == '?' || mark == '+' || mark == '*') word.remove_suffix(1);
    children.push_back(
        {wordsOf(word, '|'), mark != '?' && mark != '*', mark == '+' || mark == '*'});
  }
  return children;
}

// The children that may be there.
std::vector<pugi::xml_node> checkChildren(const pugi::xml_node& node, const Element& element,
                                          const Report& report) {
  const std::vector<Child> children = childrenOf(element);
  std::vector<std::size_t> counts(children.size());
  std::vector<pugi::xml_node> allowed;
  std::size_t place = 0;
  for (const pugi::xml_node child : node.children()) {
    if (child.type() == pugi::node_pcdata || child.type() == pugi::node_cdata)
      report(node, "has the text " + inQuotes(trimmed(child.value())) + ", expected only elements");
    if (child.type() != pugi::node_element) continue;
    const auto found = std::ranges::find_if(
        children, [&child](const Child& one) { return isOneOf(child.name(), one.names); });
    const std::string name = inQuotes(child.name());
    if (found == children.end()) {
      report(child, "the element " + name + " is not allowed in " + node.name());
      continue;
    }
    allowed.push_back(child);
    const auto at = static_cast<std::size_t>(found - children.begin());
    if (at < place)
      report(child, "the element " + name + " comes too late in " + node.name() +
                        ", expected it before " + std::string(children[place].names[0]));
    place = std::max(place, at);
    if (++counts[at] == 2 && !found->manyAllowed)
      report(child,
             "the element " + name + " is one too many in " + node.name() + ", expected only one");
  }
  for (std::size_t i = 0; i < children.size(); ++i) {
    if (!children[i].atLeastOne || counts[i] > 0) continue;
    report(node, "has no element " + joined(children[i].names, " or ") + ", which is required");
  }
  return allowed;
}

// Not deeper than the table allows, however deep the elements are.
void checkElement(const pugi::xml_node& node, const Report& report) {
  const std::string withParent = std::string(node.parent().name()) + "/" + node.name();
  auto element = std::ranges::find(elements, withParent, &Element::name);
  if (element == elements.end()) element = std::ranges::find(elements, node.name(), &Element::name);
  checkAttributes(node, *element, report);
  if (element->children == "...") return;
  for (const pugi::xml_node& child : checkChildren(node, *element, report))
    checkElement(child, report);
}

void checkSchema(const Subject& description, const Report& report) {
  checkElement(description.root, report);
}

}  // namespace

const std::vector<NamedCheck> schemaRules = {{"schema", checkSchema}};
