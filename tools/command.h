// The commands of `zelvox`. Each registers itself with its options and runs from CLI11's callback;
// what goes wrong is thrown as a Failure, whose text main() prints as one sentence.
#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

namespace CLI {
class App;
}

// Exit codes, the same for every command. `exec` otherwise ends with the code of its program.
enum class ExitCode : int {
  success = 0,
  failed = 1,           // the work could not be done: bad model, bad file, failed simulation
  usage = 2,            // the command line is wrong
  noJvm = 3,            // no JVM was found, or it could not be started
  notExecutable = 126,  // exec: the program cannot be run
  notFound = 127,       // exec: there is no such program
  interrupted = 130
};

struct Failure : std::runtime_error {
  explicit Failure(const std::string& sentence, ExitCode code = ExitCode::failed)
      : std::runtime_error(sentence), exitCode(code) {}
  ExitCode exitCode;
};

void addPackCommand(CLI::App& app);
void addInfoCommand(CLI::App& app);
void addSimulateCommand(CLI::App& app);
void addExecCommand(CLI::App& app);
void addDoctorCommand(CLI::App& app);

// The options --class-path and --jvm-option, for the commands whose JVM also runs models.
void addJvmOptions(CLI::App& command, std::vector<std::filesystem::path>& classPath,
                   std::vector<std::string>& jvmOptions);
