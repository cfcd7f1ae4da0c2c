// The commands of `zelvox`. Each registers itself with its options and runs from CLI11's callback;
// what goes wrong is thrown as a Failure, whose text main() prints as one sentence.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace CLI {
class App;
}

void addPackCommand(CLI::App& app);
void addInfoCommand(CLI::App& app);
void addSimulateCommand(CLI::App& app);
void addExecCommand(CLI::App& app);
void addDoctorCommand(CLI::App& app);

// The options --class-path and --jvm-option, for the commands whose JVM also runs models.
void addJvmOptions(CLI::App& command, std::vector<std::filesystem::path>& classPath,
                   std::vector<std::string>& jvmOptions);
