#include "output/log_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "ending/failure.h"
#include "files/file_content.h"
#include "files/safe_file.h"

LogFile::LogFile(const std::filesystem::path& file)
    : path(file), descriptor(Destination(file).openDirectly(O_CREAT | O_APPEND)) {
  if (descriptor < 0) throw Failure(file.string() + " cannot be written: " + std::strerror(errno));
}

LogFile::~LogFile() {
  close(descriptor);
}

void LogFile::write(const std::string& line) noexcept {
  int none = 0;
  if (!writeAll(descriptor, line)) problem.compare_exchange_strong(none, errno);
}

void LogFile::requireWhole() const {
  if (problem != 0)
    throw Failure(path.string() +
                  " lacks lines that could not be written: " + std::strerror(problem));
}
