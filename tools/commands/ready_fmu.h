// An FMU made ready to run in this process, for the commands that run one: packed when it is a
// model, unpacked, described, and with a JVM when its binary needs one.
#pragma once

#include <jni.h>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "files/overwriting.h"
#include "files/temporary_directory.h"
#include "fmu_file/model_description.h"
#include "packer/model_input.h"

namespace CLI {
class App;
}

// All files that an FMU is made of, or the FMU, for refuseOverwriting().
std::vector<NamedFile> filesOf(const ModelInput& input);

// The FMU that the files are, or the one that is made of them, which needs a JVM and lies in a
// temporary directory until the process ends. Throws Failure.
std::filesystem::path fmuOf(const ModelInput& input, const std::function<JNIEnv*()>& jvm);

struct FmuOptions {
  ModelInput input;
  std::vector<std::filesystem::path> classPath;
  std::vector<std::string> jvmOptions;
};

// The FMU as a positional argument, and what addModelOptions() and addJvmOptions() add.
void addFmuOptions(CLI::App& command, FmuOptions& options);

// All files that are read, for refuseOverwriting().
std::vector<NamedFile> filesOf(const FmuOptions& options);

class ReadyFmu {
 public:
  // Unpacks and describes the FMU. Throws Failure for what is no FMU for co-simulation. The
  // options must outlive the object.
  explicit ReadyFmu(const FmuOptions& options);

  // To be called before anything of the binary runs: its class path must have our simulation object
  // by then.
  void startJvmIfNeeded();
  // Whether it was needed.
  bool usesJvm() const { return hasJvm; }

  const std::filesystem::path& path() const { return directory.path(); }
  const ModelDescription& description() const { return model; }

 private:
  const FmuOptions& options;
  const TemporaryDirectory directory;
  bool hasJvm = false;
  const ModelDescription model;
};
