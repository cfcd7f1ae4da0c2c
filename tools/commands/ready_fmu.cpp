#include "commands/ready_fmu.h"

#include "ending/failure.h"
#include "ending/interrupts.h"
#include "files/file_content.h"
#include "fmu_file/archive_reader.h"
#include "fmu_file/archive_writer.h"
#include "fmu_file/description_reader.h"
#include "jvm/choice.h"
#include "jvm/start.h"
#include "loaded_fmu/binary.h"
#include "packer/packing.h"

namespace fs = std::filesystem;

namespace {

bool isFmu(const ModelInput& input) {
  requireFiles(input);
  if (std::ranges::all_of(input.model, isModelFile)) return false;
  if (input.model.size() > 1) {
    throw Failure("expected one FMU or only files of one model, got " + input.model[0].string() +
                      " and " + input.model[1].string(),
                  ExitCode::usage);
  }
  if (!input.jars.empty() || !input.javaClass.empty() || !input.release.empty()) {
    throw Failure("--jar, --model and --release are for a model, and " + input.model[0].string() +
                      " is taken for an FMU",
                  ExitCode::usage);
  }
  return true;
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

std::vector<NamedFile> filesOf(const ModelInput& input) {
  std::vector<NamedFile> files;
  for (const fs::path& file : input.model) {
    if (fs::is_directory(file)) {
      for (const fs::path& inside : filesBelow(file)) files.push_back({"the model", inside});
    } else {
      files.push_back({isModelFile(file) ? "the model" : "the FMU", file});
    }
  }
  for (const fs::path& jar : input.jars) files.push_back({"--jar", jar});
  return files;
}

JNIEnv* startJvm(const JvmOptions& options) {
  nowWaitingFor("the JVM to start");
  return startJvm(locateJvm().libjvm, jvmOptions(options.classPath, options.options));
}

fs::path fmuOf(const ModelInput& input, const JvmOptions& jvm) {
  if (isFmu(input)) return input.model[0];
  // What is static is also put away when the model ends the process.
  static const TemporaryDirectory scratch;
  const PackedFmu fmu = packModel(input, {}, scratch.path(), startJvm(jvm));
  fs::path file = scratch.path() / fmu.file;
  writeArchive(file, fmu.entries);
  for (const std::string& warning : fmu.warnings) warn(warning);
  return file;
}

void addFmuArgument(CLI::App& command, ModelInput& input) {
  addOption(command, "fmu", input.model, "FMU",
            "The FMU, a .fmu file of FMI 2.0; or a model, which is packed first")
      ->required();
}

void addFmuOptions(CLI::App& command, FmuOptions& options) {
  addFmuArgument(command, options.input);
  addModelOptions(command, options.input);
  addJvmOptions(command, options.jvm);
}

std::vector<NamedFile> filesOf(const FmuOptions& options) {
  std::vector<NamedFile> files = filesOf(options.input);
  for (const fs::path& path : options.jvm.classPath) files.push_back({"--class-path", path});
  return files;
}

ReadyFmu::ReadyFmu(const FmuOptions& given)
    : options(given),
      fmu(fmuOf(options.input, options.jvm)),
      hasJvm(fmu != options.input.model[0]),
      model(unpack(fmu, directory.path())) {}

void ReadyFmu::startJvmIfNeeded() {
  if (hasJvm) return;
  if (!needsJvm(fmuBinary(directory.path(), model))) return;
  hasJvm = true;
  startJvm(options.jvm);
}
