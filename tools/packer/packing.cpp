#include "packer/packing.h"

#include <ctime>
#include <pugixml.hpp>
#include <set>
#include <sstream>

#include "ending/failure.h"
#include "ending/interrupts.h"
#include "files/installation.h"
#include "fmu_file/description_reader.h"
#include "packer/identity.h"
#include "packer/index_page.h"
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
  if (!document.load_string(xml.c_str(), pugi::parse_default | pugi::parse_declaration))
    failVersion();
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

// Read by the Java side (ModelSource.java) when the FMU is instantiated.
std::string modelProperties(const std::string& javaClass, const std::vector<std::string>& jars) {
  std::string text = "model=" + javaClass + "\n";
  for (std::size_t i = 0; i < jars.size(); ++i) {
    text += "jar." + std::to_string(i + 1) + "=" + jars[i] + "\n";
  }
  return text;
}

constexpr const char* externalDependencies =
    "A Java virtual machine, version 8 or later, in the process that loads this FMU. It must run\n"
    "before the FMU is instantiated, and the instantiating thread must be attached to it.\n"
    "\n"
    "zelvox.jar on the class path of that JVM. The model's own classes are in the FMU.\n"
    "\n"
    "\"zelvox simulate\" and \"zelvox exec\" provide both.\n";

// The texts of the licences: the model's as its author worded it, and that of the library inside.
void appendLicenses(std::vector<ArchiveEntry>& entries, const ModelDescription& model) {
  std::string text;
  for (const std::string& part : {model.copyright, model.license}) {
    if (!part.empty()) text += part + "\n";
  }
  if (!text.empty()) entries.push_back({"documentation/licenses/license.txt", {}, text});
  const fs::path here = thisProgram().parent_path();
  for (const char* const place : {ZELVOX_INSTALLED_DOCS "/LICENSE", "../LICENSE"}) {
    const fs::path license = (here / place).lexically_normal();
    if (!fs::is_regular_file(license)) continue;
    entries.push_back({"documentation/licenses/zelvox.txt", license, {}});
    return;
  }
}

// The description with a value for an attribute that is empty in it.
std::string filled(std::string xml, const std::string& attribute, const std::string& value) {
  const std::string empty = attribute + "=\"\"";
  return xml.replace(xml.find(empty) + empty.size() - 1, 0, value);
}

std::string utcTime(std::time_t seconds) {
  std::tm utc{};
  gmtime_r(&seconds, &utc);
  char text[sizeof "9999-12-31T23:59:59Z"];
  if (std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &utc) == 0) {
    throw Failure("the year " + std::to_string(utc.tm_year + 1900) + " is too far away");
  }
  return text;
}

// What lies in the FMU, with these jars from `resources` and this description, whose GUID and date
// are empty.
std::vector<ArchiveEntry> contentsOf(const PackedFmu& fmu, const std::string& xml,
                                     const std::vector<std::string>& jars,
                                     const fs::path& resources) {
  const ModelDescription& model = fmu.description;
  // The description comes first: that is where a reader of a stream looks.
  std::vector<ArchiveEntry> entries = {
      {"modelDescription.xml", {}, xml},
      {"binaries/linux64/" + model.modelIdentifier + ".so", zelvoxLibrary(), {}},
      {"resources/model.properties", {}, modelProperties(fmu.javaClass, jars)},
  };
  for (const std::string& jar : jars) {
    entries.push_back({"resources/" + jar, resources / jar, {}});
  }
  const std::string guid = guidOf(entries);
  // The date comes behind the GUID, which is the same at any time.
  entries[0].text =
      filled(filled(xml, "guid", guid), "generationDateAndTime", utcTime(creationTime()));
  entries[1] = {entries[1].name, {}, libraryWithGuid(zelvoxLibrary(), guid)};
  entries.push_back(
      {"documentation/index.html", {}, indexHtml(model, fmu.file.filename().string())});
  entries.push_back({"documentation/externalDependencies.txt", {}, externalDependencies});
  appendLicenses(entries, model);
  return entries;
}

}  // namespace

PackedFmu packModel(const ModelInput& input, const fs::path& file, const fs::path& scratch,
                    JNIEnv* env) {
  const fs::path resources = scratch / "resources";
  nowWaitingFor("the model's files to be gathered");
  const ModelJars jars = gatherJars(input, resources, scratch, env);
  nowWaitingFor("the model to describe itself");
  std::vector<std::string> question = {resources.string(), input.javaClass, jars.model,
                                       std::to_string(jars.own)};
  question.insert(question.end(), jars.names.begin(), jars.names.end());
  const std::vector<std::string> report = askJava(env, "ModelReport", question, 3);
  const std::string xml = completed(report.at(2));
  PackedFmu fmu{
      report.at(1), readModelDescription(xml), {report.begin() + 3, report.end()}, file, {}};
  if (const std::string warning = unitWarning(fmu.description); !warning.empty())
    fmu.warnings.push_back(warning);
  if (file.empty()) fmu.file = fmu.description.modelIdentifier + ".fmu";
  fmu.entries = contentsOf(fmu, xml, jars.names, resources);
  return fmu;
}
