#include "packer/packing.h"

#include <ctime>

#include "ending/failure.h"
#include "ending/interrupts.h"
#include "files/installation.h"
#include "packer/identity.h"
#include "packer/index_page.h"

namespace fs = std::filesystem;

namespace {

// Read by the Java side (ModelSource.java) when the FMU is instantiated.
std::string modelProperties(const PackedModel& packed, const std::vector<std::string>& jars) {
  std::string text = "model=" + packed.javaClass + "\n";
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

// The entries of the FMU that is called `file`, with these jars from `resources`.
std::vector<ArchiveEntry> fmuContents(const PackedModel& packed,
                                      const std::vector<std::string>& jars,
                                      const fs::path& resources, const std::string& file) {
  const ModelDescription& model = packed.description;
  // The description comes first: that is where a reader of a stream looks.
  std::vector<ArchiveEntry> entries = {
      {"modelDescription.xml", {}, packed.xml},
      {"binaries/linux64/" + model.modelIdentifier + ".so", zelvoxLibrary(), {}},
      {"resources/model.properties", {}, modelProperties(packed, jars)},
  };
  for (const std::string& jar : jars) {
    entries.push_back({"resources/" + jar, resources / jar, {}});
  }
  const std::string guid = guidOf(entries);
  // The date comes behind the GUID, which is the same at any time.
  entries[0].text =
      filled(filled(packed.xml, "guid", guid), "generationDateAndTime", utcTime(creationTime()));
  entries[1] = {entries[1].name, {}, libraryWithGuid(zelvoxLibrary(), guid)};
  entries.push_back({"documentation/index.html", {}, indexHtml(model, file)});
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
  PackedFmu fmu{askModel(resources, jars, input.javaClass, env), file, {}};
  if (file.empty()) fmu.file = fmu.packed.description.modelIdentifier + ".fmu";
  fmu.entries = fmuContents(fmu.packed, jars.names, resources, fmu.file.filename().string());
  return fmu;
}
