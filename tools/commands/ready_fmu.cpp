#include "commands/ready_fmu.h"

#include <CLI/CLI.hpp>

#include "base/failure.h"
#include "base/file_content.h"
#include "base/interrupts.h"
#include "commands/command.h"
#include "fmu_file/archive_reader.h"
#include "fmu_file/description_reader.h"
#include "importer/binary.h"
#include "jvm/find.h"
#include "jvm/options.h"
#include "jvm/start.h"

namespace fs = std::filesystem;

namespace {

JNIEnv* startJvmWith(const FmuOptions& options) {
  nowWaitingFor("the JVM to start");
  return startJvm(locateJvm().libjvm, jvmOptions(options.classPath, options.jvmOptions));
}

ModelDescription unpack(const fs::path& fmu, const fs::path& directory) {
  nowWaitingFor("the FMU to be unpacked");
  unpackArchive(fmu, directory);
  nowWaitingFor("the run to be prepared");
  const fs::path file = directory / "modelDescription.xml";
  if (!fs::is_regular_file(file))
    throw Failure(fmu.string() + " is no FMU: there is no modelDescription.xml in it");
  ModelDescription model = readModelDescription(fileContent(file));
  if (!model.coSimulation)
    throw Failure(fmu.string() + " is for model exchange only, expected co-simulation");
  return model;
}

}  // namespace

void addFmuOptions(CLI::App& command, FmuOptions& options) {
  command
      .add_option("fmu", options.input.model,
                  "The FMU, a .fmu file of FMI 2.0; or a model, which is packed first")
      ->required()
      ->type_name("FMU");
  addModelOptions(command, options.input);
  addJvmOptions(command, options.classPath, options.jvmOptions);
}

std::vector<NamedFile> filesOf(const FmuOptions& options) {
  std::vector<NamedFile> files = filesOf(options.input);
  for (const fs::path& path : options.classPath) files.push_back({"--class-path", path});
  return files;
}

ReadyFmu::ReadyFmu(const FmuOptions& given)
    : options(given),
      model(unpack(fmuOf(options.input,
                         [this] {
                           hasJvm = true;
                           return startJvmWith(options);
                         }),
                   directory.path())) {}

void ReadyFmu::startJvmIfNeeded() {
  if (hasJvm) return;
  if (!needsJvm(fmuBinary(directory.path(), model))) return;
  hasJvm = true;
  startJvmWith(options);
}
