// What the description says of the FMU as a whole, and the files that have to fit it.
#include <utf8.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <filesystem>
#include <set>

#include "checker/rules.h"
#include "words/numbers.h"
#include "words/text.h"

namespace {

constexpr std::array<const char*, 2> kinds = {"ModelExchange", "CoSimulation"};

using Pair = std::pair<const char*, const char*>;

// With the ending of the binaries for each.
constexpr std::array<Pair, 6> platforms = {{{"linux32", ".so"},
                                            {"linux64", ".so"},
                                            {"win32", ".dll"},
                                            {"win64", ".dll"},
                                            {"darwin32", ".dylib"},
                                            {"darwin64", ".dylib"}}};

// Lists below the root whose elements have to differ in their names.
constexpr std::array<Pair, 5> namespaces = {{{"UnitDefinitions", "Unit"},
                                             {"TypeDefinitions", "SimpleType"},
                                             {"LogCategories", "Category"},
                                             {"VendorAnnotations", "Tool"},
                                             {"ModelVariables", "ScalarVariable"}}};

void checkEncoding(const Subject& description, const Report& report) {
  const pugi::xml_node declaration = description.xml.firstNode();
  std::string encoding = declaration.attribute("encoding").value();
  std::ranges::transform(encoding, encoding.begin(),
                         [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
  if (declaration.type() == pugi::node_declaration && !encoding.empty() && encoding != "UTF-8")
    report(description.root, "the encoding is " + inQuotes(encoding) + ", expected UTF-8");
  if (!utf8::is_valid(description.text.begin(), description.text.end()))
    report(description.root, "the text is not valid UTF-8");
}

void checkVersion(const Subject& description, const Report& report) {
  const pugi::xml_attribute version = description.root.attribute("fmiVersion");
  if (version && std::string_view(version.value()) != "2.0")
    report(description.root, "fmiVersion is " + inQuotes(version.value()) + ", expected 2.0");
  const pugi::xml_attribute guid = description.root.attribute("guid");
  if (guid && std::string_view(guid.value()).empty())
    report(description.root,
           "guid is empty, expected a text by which importers tell this FMU from others");
}

void checkKinds(const Subject& description, const Report& report) {
  for (const char* const kind : kinds) {
    const pugi::xml_node node = description.root.child(kind);
    if (node.next_sibling(kind)) report(node.next_sibling(kind), "expected only one");
    const pugi::xml_attribute identifier = node.attribute("modelIdentifier");
    if (identifier && !isIdentifier(identifier.value()))
      report(node, "modelIdentifier is " + inQuotes(identifier.value()) +
                       ", expected a name of C: letters, digits and _, no digit first");
    if (isTrue(node.attribute("canSerializeFMUstate")) &&
        !isTrue(node.attribute("canGetAndSetFMUstate")))
      report(node, "canSerializeFMUstate is true, expected canGetAndSetFMUstate to be true, too");
  }
}

void checkBinaries(const Subject& description, const Report& report) {
  const std::set<std::string> files(description.files.begin(), description.files.end());
  const auto anyBelow = [&files](const std::string& directory) {
    const auto found = files.lower_bound(directory);
    return found != files.end() && found->starts_with(directory);
  };
  for (const char* const kind : kinds) {
    const pugi::xml_node node = description.root.child(kind);
    const std::string identifier = node.attribute("modelIdentifier").value();
    if (identifier.empty()) continue;
    // Tools have platforms of their own, too.
    const auto isBinary = [&identifier](const std::string& file) {
      const std::filesystem::path path(file);
      return file.starts_with("binaries/") && path.stem() == identifier;
    };
    bool runs = anyBelow("sources/") || std::ranges::any_of(files, isBinary);
    for (const auto& [platform, ending] : platforms) {
      const std::string directory = "binaries/" + std::string(platform) + "/";
      const std::string binary = directory + identifier + ending;
      if (!anyBelow(directory)) continue;
      runs = true;  // or that is said here
      if (!files.contains(binary)) report(node, "there is no " + inQuotes(binary) + " in the FMU");
    }
    if (!runs)
      report(node, "the FMU has neither binaries/<platform>/" + printable(identifier) +
                       ".so (or .dll, .dylib) nor sources/");
    for (const pugi::xml_node file : node.child("SourceFiles").children("File")) {
      const std::string name = file.attribute("name").value();
      if (!name.empty() && !files.contains("sources/" + name))
        report(file, "there is no such file in sources/");
    }
  }
}

void checkExperiment(const Subject& description, const Report& report) {
  const pugi::xml_node experiment = description.root.child("DefaultExperiment");
  const auto number = [&experiment](const char* name) {
    return parseNumber(experiment.attribute(name).value());
  };
  const auto stop = number("stopTime");
  const double start = number("startTime").value_or(0);
  if (stop && !(*stop > start))
    report(experiment, "stopTime is " + numberText(*stop) + ", expected more than startTime, " +
                           numberText(start));
  for (const char* const name : {"stepSize", "tolerance"}) {
    const auto value = number(name);
    if (value && !(*value > 0))
      report(experiment,
             std::string(name) + " is " + numberText(*value) + ", expected more than 0");
  }
}

void checkUniqueNames(const Subject& description, const Report& report) {
  for (const auto& [list, element] : namespaces)
    checkUniqueIn(description.root.child(list), element, report);
  for (const auto& [name, unit] : description.units) checkUniqueIn(unit, "DisplayUnit", report);
  for (const SubjectVariable& variable : description.variables) {
    if (description.types.contains(variable.name))
      report(variable.node, "a type has the same name, expected another one");
    checkUniqueIn(variable.node.child("Annotations"), "Tool", report);
  }
}

}  // namespace

const std::vector<NamedCheck> headRules = {
    {"encoding", checkEncoding}, {"version", checkVersion},       {"kind", checkKinds},
    {"binary", checkBinaries},   {"experiment", checkExperiment}, {"unique", checkUniqueNames}};

void checkUniqueIn(const pugi::xml_node& list, const char* element, const Report& report) {
  std::set<std::string_view> names;
  for (const pugi::xml_node node : list.children(element)) {
    const pugi::xml_attribute name = node.attribute("name");
    if (name && !names.insert(name.value()).second)
      report(node, "there is another " + std::string(element) +
                       " of this name, expected a name of its own");
  }
}
