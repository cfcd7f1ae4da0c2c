// What `pack`, `simulate` and `info` share: a model, given by its files, wherever an FMU can stand.
#include <CLI/CLI.hpp>

#include "base/failure.h"
#include "base/temporary_directory.h"
#include "commands/command.h"
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

}  // namespace

void addModelOptions(CLI::App& command, ModelInput& input) {
  const std::string group = "A model";
  // Maven and Gradle know the libraries as a class path, which may be empty.
  command
      .add_option_function<std::vector<std::string>>(
          "--jar",
          [&input](const std::vector<std::string>& jars) {
            std::ranges::remove_copy(jars, std::back_inserter(input.jars), "");
          },
          "A jar that the model needs, or several with : between them; goes into the FMU; "
          "repeatable")
      ->delimiter(':')
      ->allow_extra_args(false)
      ->type_name("FILE")
      ->group(group);
  command
      .add_option("--model", input.javaClass,
                  "The model's class [the one that META-INF/services/com.zelvox.qorbetta.Model "
                  "names, or the only one]")
      ->type_name("CLASS")
      ->group(group);
  command
      .add_option(
          "--release", input.release,
          "The version of Java that .java files are compiled for [8, or the oldest that the "
          "JDK knows]")
      ->type_name("VERSION")
      ->group(group);
}

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

fs::path fmuOf(const ModelInput& input, const std::function<JNIEnv*()>& jvm) {
  if (isFmu(input)) return input.model[0];
  // What is static is also put away when the model ends the process.
  static const TemporaryDirectory scratch;
  const PackedFmu fmu = packModel(input, {}, scratch.path(), jvm());
  fs::path file = scratch.path() / fmu.file;
  writeArchive(file, fmu.entries);
  for (const std::string& warning : fmu.packed.warnings) warn(warning);
  return file;
}
