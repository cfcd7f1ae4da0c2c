#include "files/at_start.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <string>

#include "ending/failure.h"

namespace fs = std::filesystem;

namespace {

fs::path startDirectory;  // empty when it has no path any more

// What the streams were, for the result and for the runs.
int keptOutput = -1;
int keptInput = -1;

int copyOf(int stream) {
  return fcntl(stream, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
}

}  // namespace

void rememberStartDirectory() {
  std::error_code gone;
  startDirectory = fs::current_path(gone);
}

fs::path fromStart(const fs::path& path) {
  return path.empty() ? path : startDirectory / path;
}

void occupyClosedStreams() {
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(stream, F_GETFD) >= 0) continue;
    const int direction = stream == STDIN_FILENO ? O_WRONLY : O_RDONLY;
    if (open("/dev/null", direction | O_CLOEXEC) != stream) return;  // without /dev: as it was
  }
}

void keepStandardOutputForResult() {
  keptOutput = copyOf(STDOUT_FILENO);
  if (keptOutput < 0 || dup2(STDERR_FILENO, STDOUT_FILENO) < 0)
    throw Failure(std::string("the standard output cannot be used: ") + std::strerror(errno));
}

int standardOutputForResult() {
  return copyOf(keptOutput);
}

void keepStandardInputForRuns() {
  keptInput = copyOf(STDIN_FILENO);
  const int empty = open("/dev/null", O_RDONLY | O_CLOEXEC);
  if (keptInput < 0 || empty < 0 || dup2(empty, STDIN_FILENO) < 0)
    throw Failure(std::string("stdin cannot be used: ") + std::strerror(errno));
  close(empty);
}

int standardInputForRuns() {
  return copyOf(keptInput);
}

void flushStandardOutput() {
  errno = 0;
  std::cout.flush();
  const bool flushed = std::fflush(stdout) == 0 && std::ferror(stdout) == 0 && std::cout.good();
  if (flushed || keptOutput >= 0) return;
  const std::string reason = errno != 0 ? std::string(": ") + std::strerror(errno) : "";
  throw Failure("the standard output cannot be written" + reason);
}
