#include "packer/model_report.h"

#include <pugixml.hpp>
#include <set>
#include <sstream>

#include "ending/failure.h"
#include "fmu_file/description_reader.h"
#include "packer/identity.h"
#include "packer/java_side.h"
#include "words/numbers.h"
#include "words/text.h"

namespace fs = std::filesystem;

namespace {

// A sentence on the units that variables use and the model does not define; empty when there are
// none. Importers show such units, but cannot convert them.
std::string unitWarning(const ModelDescription& model) {
  std::set<std::string> known = {""};
  for (const UnitDefinition& unit : model.units)
    if (unit.hasBaseUnit) known.insert(unit.name);
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

// The description that Java gives, with what only the packer knows. Numbers become what they are in
// every other file, and the same for each version of Java.
std::string completed(const std::string& xml) {
  pugi::xml_document document;
  document.load_string(xml.c_str(), pugi::parse_default | pugi::parse_declaration);
  pugi::xml_node root = document.document_element();
  const pugi::xml_attribute name = root.attribute("modelName");
  root.insert_attribute_after("guid", name);
  root.append_attribute("generationTool") = "zelvox " ZELVOX_VERSION;
  root.append_attribute("generationDateAndTime") = "";
  root.append_attribute("variableNamingConvention") = "flat";
  root.child("CoSimulation").prepend_attribute("modelIdentifier") =
      modelIdentifierOf(name.value()).c_str();
  for (const pugi::xpath_node& number : document.select_nodes(
           "//DefaultExperiment/@*|//@factor|//@offset|//@min|//@max|//@nominal|//@start")) {
    pugi::xml_attribute attribute = number.attribute();
    attribute = numberText(parseNumber(attribute.value()).value()).c_str();
  }
  std::ostringstream text;
  document.save(text, "  ");
  return text.str();
}

}  // namespace

PackedModel askModel(const fs::path& resources, const ModelJars& jars, const std::string& javaClass,
                     JNIEnv* env) {
  std::vector<std::string> question = {resources.string(), javaClass, jars.model,
                                       std::to_string(jars.own)};
  question.insert(question.end(), jars.names.begin(), jars.names.end());
  const std::vector<std::string> report = askJava(env, "ModelReport", question);
  PackedModel packed{report.at(1), completed(report.at(2)), {}, {}};
  packed.description = readModelDescription(packed.xml);
  packed.warnings.assign(report.begin() + 3, report.end());
  if (const std::string warning = unitWarning(packed.description); !warning.empty())
    packed.warnings.push_back(warning);
  return packed;
}
