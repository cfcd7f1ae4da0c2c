#include "packer/contents.h"

#include "files/installation.h"
#include "fmu_file/description_writer.h"
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

}  // namespace

std::vector<ArchiveEntry> fmuContents(const PackedModel& packed,
                                      const std::vector<std::string>& jars,
                                      const fs::path& resources, const std::string& file) {
  ModelDescription model = packed.description;
  model.generationDateAndTime.clear();  // the GUID is the same at any time
  // The description comes first: that is where a reader of a stream looks.
  std::vector<ArchiveEntry> entries = {
      {"modelDescription.xml", {}, writeModelDescription(model)},
      {"binaries/linux64/" + model.modelIdentifier + ".so", zelvoxLibrary(), {}},
      {"resources/model.properties", {}, modelProperties(packed, jars)},
  };
  for (const std::string& jar : jars) {
    entries.push_back({"resources/" + jar, resources / jar, {}});
  }
  model.guid = guidOf(entries);
  model.generationDateAndTime = packed.description.generationDateAndTime;
  entries[0].text = writeModelDescription(model);
  entries[1] = {entries[1].name, {}, libraryWithGuid(zelvoxLibrary(), model.guid)};
  entries.push_back({"documentation/index.html", {}, indexHtml(model, file)});
  entries.push_back({"documentation/externalDependencies.txt", {}, externalDependencies});
  appendLicenses(entries, model);
  return entries;
}
