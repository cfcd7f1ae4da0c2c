// An FMU made ready to run in this process, for the commands that run one: packed when it is a
// model, unpacked, described, and with a JVM when its binary needs one.
#pragma once

#include <jni.h>

#include <filesystem>
#include <string>
#include <vector>

#include "commands/options.h"
#include "files/overwriting.h"
#include "files/temporary_directory.h"
#include "fmu_file/model_description.h"
#include "packer/model_input.h"

// All files that an FMU is made of, or the FMU, for refuseOverwriting().
std::vector<NamedFile> filesOf(const ModelInput& input);

// The JVM of this process. Throws Failure.
JNIEnv* startJvm(const JvmOptions& options);

// The FMU that the files are, or the one that is made of them, for which the JVM is started; it
// lies in a temporary directory until the process ends. Throws Failure.
std::filesystem::path fmuOf(const ModelInput& input, const JvmOptions& jvm);

struct FmuOptions {
  ModelInput input;
  JvmOptions jvm;
};

// The FMU, or a model, as a positional argument.
void addFmuArgument(CLI::App& command, ModelInput& input);

// This argument, and what addModelOptions() and addJvmOptions() add.
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
  const std::filesystem::path fmu;
  bool hasJvm;
  const ModelDescription model;
};
