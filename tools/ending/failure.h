// How a command fails: with one sentence, which main() prints, and an exit code. How it says that
// something may be wrong and goes on.
#pragma once

#include <exception>
#include <stdexcept>
#include <string>

// Exit codes, the same for every command. `exec` otherwise ends with the code of its program.
enum class ExitCode : int {
  success = 0,
  failed = 1,           // the work could not be done: bad model, bad file, failed simulation
  usage = 2,            // the command line is wrong
  noJvm = 3,            // no JVM was found, or it could not be started
  notExecutable = 126,  // exec: the program cannot be run
  notFound = 127,       // exec: there is no such program
  brokenPipe = 141      // what read our result does so no more; as if ended by SIGPIPE
};                      // and 128 + n when signal n ended the command (interrupts.h)

struct Failure : std::runtime_error {
  explicit Failure(const std::string& sentence, ExitCode code = ExitCode::failed)
      : std::runtime_error(sentence), exitCode(code) {}
  ExitCode exitCode;
};

// A file, or what else is written, cannot be.
struct Unwritable : Failure {
  using Failure::Failure;
};

// What went wrong, with what is to be told behind it. What is no Failure yet becomes one.
Failure failureOf(const std::exception& problem, const std::string& told = {});

// Prints one line on stderr.
void warn(const std::string& text);
