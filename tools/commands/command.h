// The commands of `zelvox`. Each registers itself with its options and runs from CLI11's callback;
// what goes wrong is thrown as a Failure, whose text main() prints as one sentence.
#pragma once

#include <jni.h>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "base/overwriting.h"

namespace CLI {
class App;
}

void addNewCommand(CLI::App& app);
void addPackCommand(CLI::App& app);
void addInfoCommand(CLI::App& app);
void addSimulateCommand(CLI::App& app);
void addBatchCommand(CLI::App& app);
void addExecCommand(CLI::App& app);
void addDoctorCommand(CLI::App& app);

// The options of a model that is given by its files: --jar, --model and --release.
struct ModelInput;
void addModelOptions(CLI::App& command, ModelInput& input);

// The times of a run, start values, inputs and the variables of the result.
struct ExperimentOptions;
void addExperimentOptions(CLI::App& command, ExperimentOptions& experiment);

// All files that an FMU is made of, or the FMU, for refuseOverwriting().
std::vector<NamedFile> filesOf(const ModelInput& input);

// The FMU that the files are, or the one that is made of them, which needs a JVM and lies in a
// temporary directory until the process ends. Throws Failure.
std::filesystem::path fmuOf(const ModelInput& input, const std::function<JNIEnv*()>& jvm);

// The options --class-path and --jvm-option, for the commands whose JVM also runs models.
void addJvmOptions(CLI::App& command, std::vector<std::filesystem::path>& classPath,
                   std::vector<std::string>& jvmOptions);
