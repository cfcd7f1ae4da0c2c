// The options that several commands share: a model, an experiment, and the JVM of both.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace CLI {
class App;
}
struct ExperimentOptions;
struct ModelInput;

// The options of a model that is given by its files: --jar, --model and --release.
void addModelOptions(CLI::App& command, ModelInput& input);

// The times of a run, start values, inputs and the variables of the result.
void addExperimentOptions(CLI::App& command, ExperimentOptions& experiment);

// The options --class-path and --jvm-option, for the commands whose JVM also runs models.
void addJvmOptions(CLI::App& command, std::vector<std::filesystem::path>& classPath,
                   std::vector<std::string>& jvmOptions);
