// `zelvox exec`: replaces itself by a program that gets a JVM before its main(). What does this in
// the program is tools/preload; here its environment is prepared.
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "commands/commands.h"
#include "commands/options.h"
#include "ending/failure.h"
#include "files/installation.h"
#include "jvm/choice.h"
#include "preload/preload.h"
#include "preload/program.h"
#include "words/text.h"

namespace fs = std::filesystem;

namespace {

struct Options {
  JvmOptions jvm;
  bool follow = false;
  bool mainThreadOnly = false;
  std::string program;
  const CLI::App* command = nullptr;  // which has left the arguments of the program
};

void setVariable(const char* name, const std::string& value) {
  if (setenv(name, value.c_str(), 1) != 0)
    throw Failure("cannot set " + std::string(name) + ": " + std::strerror(errno));
}

std::string jvmOptionsFor(const Options& options) {
  // A crash of the program is reported to the user who sees it, and leaves no file.
  std::vector<std::string> users = {"-XX:ErrorFile=/dev/stderr"};
  users.insert(users.end(), options.jvm.options.begin(), options.jvm.options.end());
  std::string text;
  for (const std::string& option : jvmOptions(options.jvm.classPath, users)) {
    if (option.find('\n') != std::string::npos)
      throw Failure("the JVM option '" + printable(option) +
                        "' has a line break in it, which cannot be passed on",
                    ExitCode::usage);
    text += option + "\n";
  }
  return text;
}

std::string preloadable(const fs::path& file) {
  const std::string path = file.string();
  if (path.find_first_of(": \t\n$") != std::string::npos)
    throw Failure(path + " cannot be preloaded, expected a path without blanks, ':' and '$'");
  return path;
}

// libjsig, which chains the signal handlers of the JVM and the program, and our own object.
std::string preloadedObjects(const JvmLocation& location) {
  const std::string own = preloadable(preloadLibrary());
  // Beside libjvm.so in a current JVM, one level up in an older one.
  for (const fs::path& directory :
       {location.libjvm.parent_path(), location.libjvm.parent_path().parent_path()})
    if (fs::is_regular_file(directory / "libjsig.so"))
      return preloadable(directory / "libjsig.so") + ":" + own;
  return own;
}

// What the program needs to start with a JVM.
void setEnvironment(const Options& options) {
  const JvmLocation location = locateJvm();
  const std::string objects = preloadedObjects(location);
  setVariable(preload::jvmLibrary, location.libjvm.string());
  setVariable(preload::jvmOptions, jvmOptionsFor(options));
  setVariable(preload::objects, objects);
  if (options.follow) setVariable(preload::follow, "1");
  if (options.mainThreadOnly) setVariable(preload::mainThreadOnly, "1");
  const char* const others = std::getenv("LD_PRELOAD");
  const bool alone = others == nullptr || *others == '\0';
  setVariable("LD_PRELOAD", alone ? objects : std::string(others) + ":" + objects);
}

// What stands behind the program, which has "--" before it, so that no option of the program can be
// taken for one of ours.
std::vector<std::string> argumentsOf(const CLI::App& command) {
  std::vector<std::string> left = command.remaining();
  if (left.empty() || left.front() != "--")
    throw Failure((left.empty() ? "" : "exec: " + printable(left.front()) + " was not expected: ") +
                      "write the program and its arguments behind \"--\", as in "
                      "zelvox exec -- python3 study.py",
                  ExitCode::usage);
  left.erase(left.begin());
  return left;
}

[[noreturn]] void exec(Options& options) {
  std::vector<std::string> programArguments = argumentsOf(*options.command);
  const char* const why = whyNotPreloadedOnPath(options.program.c_str());
  if (why == nullptr || options.follow)
    setEnvironment(options);
  else
    sayWithoutJvm(printable(options.program).c_str(), why);

  std::vector<char*> arguments = {const_cast<char*>(options.program.c_str())};
  for (std::string& argument : programArguments) arguments.push_back(argument.data());
  arguments.push_back(nullptr);
  execvp(arguments[0], arguments.data());
  const int problem = errno;
  const std::string program = printable(options.program);
  if (problem == ENOENT || problem == ENOTDIR)
    throw Failure("exec: " + program + ": command not found", ExitCode::notFound);
  throw Failure("exec: " + program + " cannot be run: " + std::strerror(problem),
                ExitCode::notExecutable);
}

constexpr const char* examples = R"(
Examples:
  zelvox exec -- fmpy simulate motor.fmu
  zelvox exec --class-path motor.jar --jvm-option -Xmx1g -- python3 study.py

The JVM is the one of JAVA_HOME, or of the java on the PATH (`zelvox doctor` shows it). It starts
before the program's main() with the main thread attached, zelvox.jar on its class path, a stack of
8 MiB, and without handling Ctrl-C. Each thread that the program starts is attached, too, which takes
it a fraction of a millisecond; --main-thread-only leaves that off. Child processes get none unless
--follow is given. jcmd would end the program; allow it with
--jvm-option -XX:-DisableAttachMechanism.

The exit code is that of the program, 134 when it crashes; 3 when no JVM could be started, 127 when the
program was not found, 126 when it could not be run.)";

}  // namespace

void addExecCommand(CLI::App& app) {
  const auto [command, options] =
      addCommand(app, "exec", "Run any importer of FMUs with a JVM in its process", examples, exec);
  options.command = &command;
  command.add_flag("--follow", options.follow, "Child processes start a JVM each, too");
  command.add_flag("--main-thread-only", options.mainThreadOnly,
                   "Leave the threads that the program starts without the JVM");
  // Only the program itself is an argument for CLI11: it would read a list into one like "[a,b]".
  // The rest, from the "--" on, is what CLI11 leaves alone.
  addOption(command, "command", options.program, "-- COMMAND [ARGUMENT ...]",
            "The program to run, with its arguments")
      ->required();
  command.prefix_command();
  addJvmOptions(command, options.jvm);
}
