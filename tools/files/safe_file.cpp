#include "files/safe_file.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <poll.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <optional>
#include <random>
#include <system_error>

#include "ending/failure.h"
#include "files/at_start.h"
#include "files/file_content.h"
#include "files/temporary_directory.h"
#include "words/numbers.h"

namespace fs = std::filesystem;

namespace {

// Links below /proc lead to open files, not to paths.
bool isOnProc(const fs::path& directory) {
  struct statfs status {};
  return statfs(directory.c_str(), &status) == 0 && status.f_type == PROC_SUPER_MAGIC;
}

// The number N of /proc/self/fd/N, or -1.
int descriptorNamed(const fs::path& link) {
  std::error_code error;
  if (fs::canonical(link.parent_path(), error) != fs::canonical("/proc/self/fd", error) || error)
    return -1;
  return parseWhole<int>(link.filename().string()).value_or(-1);
}

// Not of mkstemp(), which knows no umask. Leaves room for a suffix that libzip appends for a while.
fs::path partNameOf(const fs::path& file) {
  constexpr std::string_view letters = "abcdefghijklmnopqrstuvwxyz0123456789";
  constexpr std::size_t longest = 230;
  static std::random_device random;
  std::string name = file.filename().string().substr(0, longest) + ".part-";
  for (int i = 0; i < 6; ++i) name += letters[random() % letters.size()];
  return file.parent_path() / name;
}

// Whether what was written is on the disk; file systems that cannot promise it are trusted.
bool synchronized(const fs::path& path) {
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (file < 0) return errno == EACCES;
  const bool good = fsync(file) == 0 || errno == EINVAL || errno == ENOSYS || errno == EROFS;
  const int problem = errno;
  close(file);
  errno = problem;
  return good;
}

// From now on writing to what nobody reads any more is an error, and no silent end by SIGPIPE.
// A handler, since what is ignored would stay ignored in child processes.
void hearOfBrokenPipes() {
  struct sigaction action {};
  if (sigaction(SIGPIPE, nullptr, &action) != 0 || action.sa_handler != SIG_DFL) return;
  action.sa_handler = [](int) {};
  action.sa_flags = SA_RESTART | SA_ONSTACK;
  sigaction(SIGPIPE, &action, nullptr);
}

}  // namespace

Destination::Destination(const fs::path& target) : path(fromStart(target)) {
  std::error_code ignored;
  constexpr int mostLinks = 40;  // as in Linux
  for (int links = 0; fs::is_symlink(path, ignored); ++links) {
    if (links == mostLinks)
      throw Failure(target.string() + " cannot be written: " + std::strerror(ELOOP));
    if (isOnProc(path.parent_path())) {
      direct = true;
      descriptor = descriptorNamed(path);
      break;
    }
    path = path.parent_path() / fs::read_symlink(path, ignored);
  }
  exists = stat(path.c_str(), &status) == 0;
  direct = direct || (exists && !S_ISREG(status.st_mode));
}

int Destination::openDirectly(int flags) const {
  hearOfBrokenPipes();
  return descriptor >= 0
             ? fcntl(descriptor, F_DUPFD_CLOEXEC, 0)
             : open(path.c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC | O_NOCTTY | flags, 0666);
}

SafeFile::SafeFile(const fs::path& file) : target(file), destination(file) {
  if (destination.direct) {
    if (destination.exists && S_ISDIR(destination.status.st_mode)) fail("it is a directory");
    descriptor = destination.openDirectly(0);
    if (descriptor < 0) fail(std::strerror(errno));
    return;
  }
  // A directory would let us replace a file that is protected against writing.
  if (destination.exists && faccessat(AT_FDCWD, destination.path.c_str(), W_OK, AT_EACCESS) != 0)
    fail(std::strerror(errno));
  const mode_t mode = destination.exists ? destination.status.st_mode & 0777 : 0666;
  const auto busy = removal.busy();
  do {
    part = partNameOf(destination.path);
    descriptor = open(part.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_APPEND | O_CLOEXEC, mode);
  } while (descriptor < 0 && errno == EEXIST);
  if (descriptor < 0) {
    part.clear();
    fail(std::strerror(errno));
  }
}

SafeFile::SafeFile(const std::string& name, int open)
    : target(name), destination(open), descriptor(open) {
  if (descriptor < 0) fail(std::strerror(errno));
  hearOfBrokenPipes();
}

SafeFile::~SafeFile() {
  const auto busy = removal.busy();
  if (descriptor >= 0) close(descriptor);
  if (!part.empty()) unlink(part.c_str());
}

std::string SafeFile::removeParts() const {
  if (part.empty()) return {};
  std::error_code ignored;
  for (fs::directory_iterator file(part.parent_path(), ignored), end; !ignored && file != end;
       file.increment(ignored))
    if (file->path().filename().string().starts_with(part.filename().string()))
      unlink(file->path().c_str());
  return {};
}

void SafeFile::write(std::string_view bytes) {
  const off_t before = lseek(descriptor, 0, SEEK_CUR);
  if (writeAll(descriptor, bytes)) return;
  const int problem = errno;
  if (problem == EPIPE) failWithoutReader();
  if (!destination.direct && ftruncate(descriptor, before) != 0) errno = problem;
  fail(std::strerror(problem));
}

void SafeFile::requireReader() const {
  pollfd reader = {destination.direct ? descriptor : -1, 0, 0};
  if (poll(&reader, 1, 0) == 1 && (reader.revents & POLLERR) != 0) failWithoutReader();
}

void SafeFile::writeWith(const std::function<void(const fs::path&)>& make) {
  if (!destination.direct) return make(part);
  const TemporaryDirectory directory;
  const fs::path made = directory.path() / target.filename();
  make(made);
  readPieces(made, [this](std::string_view piece) { write(piece); });
}

void SafeFile::commit() {
  const auto busy = removal.busy();
  // First what the file is and then its name, so that after a power cut the name is never that of
  // an empty file. `part` may be another file by now than the one that was opened.
  if (!destination.direct && !synchronized(part)) fail(std::strerror(errno));
  const int closing = descriptor;
  descriptor = -1;
  if (close(closing) != 0) fail(std::strerror(errno));
  if (destination.direct) return;
  if (destination.exists) {
    // Where we may not give files away, somebody else's becomes ours, of the same group if
    // possible.
    const gid_t group = destination.status.st_gid;
    if (chown(part.c_str(), destination.status.st_uid, group) != 0 &&
        chown(part.c_str(), static_cast<uid_t>(-1), group) != 0)
      errno = 0;
    if (chmod(part.c_str(), destination.status.st_mode & 0777) != 0) fail(std::strerror(errno));
  }
  const fs::path complete = std::move(part);
  part.clear();
  if (rename(complete.c_str(), destination.path.c_str()) != 0)
    throw Failure(target.string() + " cannot be replaced: " + std::strerror(errno) +
                  "; what was to be in it is in " + complete.string());
  synchronized(destination.path.parent_path());
}

bool SafeFile::isTerminal() const {
  return isatty(descriptor) != 0;
}

void SafeFile::failWithoutReader() const {
  throw Unwritable(target.string() + " was closed by its reader", ExitCode::brokenPipe);
}

void SafeFile::fail(const std::string& reason) const {
  throw Unwritable(target.string() + " cannot be written: " + reason);
}
