#include "base/standard_streams.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <string>

#include "base/failure.h"

namespace {

int kept = -1;  // the stdout that is for the result

}  // namespace

void occupyClosedStreams() {
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(stream, F_GETFD) >= 0) continue;
    const int direction = stream == STDIN_FILENO ? O_WRONLY : O_RDONLY;
    if (open("/dev/null", direction | O_CLOEXEC) != stream) return;  // without /dev: as it was
  }
}

void keepStandardOutputForResult() {
  kept = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  if (kept < 0 || dup2(STDERR_FILENO, STDOUT_FILENO) < 0)
    throw Failure(std::string("the standard output cannot be used: ") + std::strerror(errno));
}

int standardOutputForResult() {
  return fcntl(kept, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
}

void flushStandardOutput() {
  errno = 0;
  std::cout.flush();
  const bool flushed = std::fflush(stdout) == 0 && std::ferror(stdout) == 0 && std::cout.good();
  if (flushed || kept >= 0) return;
  const std::string reason = errno != 0 ? std::string(": ") + std::strerror(errno) : "";
  throw Failure("the standard output cannot be written" + reason);
}
