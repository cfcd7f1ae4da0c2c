#include "output/log_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "ending/failure.h"
#include "files/safe_file.h"

LogFile::LogFile(const std::filesystem::path& file) : path(file) {
  const Destination destination(file);
  descriptor = destination.descriptor >= 0
                   ? fcntl(destination.descriptor, F_DUPFD_CLOEXEC, 0)
                   : open(destination.path.c_str(),
                          O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC | O_NOCTTY, 0666);
  if (descriptor < 0) throw Failure(file.string() + " cannot be written: " + std::strerror(errno));
  hearOfBrokenPipes();
}

LogFile::~LogFile() {
  close(descriptor);
}

void LogFile::write(const std::string& line) noexcept {
  std::size_t done = 0;
  while (done < line.size()) {
    const ssize_t length = ::write(descriptor, line.data() + done, line.size() - done);
    if (length < 0 && errno == EINTR) continue;
    if (length < 0) {
      int none = 0;
      problem.compare_exchange_strong(none, errno);
      return;
    }
    done += static_cast<std::size_t>(length);
  }
}

void LogFile::requireWhole() const {
  if (problem != 0)
    throw Failure(path.string() +
                  " lacks lines that could not be written: " + std::strerror(problem));
}
