#include "base/standard_streams.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <string>

#include "base/failure.h"

void occupyClosedStreams() {
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(stream, F_GETFD) >= 0) continue;
    const int direction = stream == STDIN_FILENO ? O_WRONLY : O_RDONLY;
    if (open("/dev/null", direction | O_CLOEXEC) != stream) return;  // without /dev: as it was
  }
}

void flushStandardOutput() {
  errno = 0;
  std::cout.flush();
  if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0 && std::cout.good()) return;
  const std::string reason = errno != 0 ? std::string(": ") + std::strerror(errno) : "";
  throw Failure("the standard output cannot be written" + reason);
}
