#include "files/temporary_directory.h"

#include <fcntl.h>
#include <ftw.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <system_error>
#include <utility>

#include "ending/failure.h"
#include "files/at_start.h"

namespace fs = std::filesystem;

namespace {

// The mark of our directories: nobody else gives one the sticky bit and all others nothing. It is
// set when the lock is held, so that one with the mark and without a lock is nobody's any more.
constexpr mode_t mark = S_ISVTX | S_IRWXU;

// The program that the model starts inherits no lock.
int openDirectory(const fs::path& directory) {
  return open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
}

bool isLockable(int directory) {
  return flock(directory, LOCK_EX | LOCK_NB) == 0;
}

bool hasMark(int directory) {
  struct stat status {};
  return fstat(directory, &status) == 0 && status.st_uid == geteuid() &&
         (status.st_mode & ALLPERMS) == mark;
}

thread_local int firstError;

int removeOne(const char* path, const struct stat*, int, FTW*) {
  if (std::remove(path) != 0 && firstError == 0) firstError = errno;
  return 0;
}

// However deep it is: with a handful of descriptors at a time, and without following symbolic
// links. What cannot be removed does not keep the rest; the first reason is the result, 0 for none.
int removeTree(const fs::path& directory) {
  constexpr int descriptors = 8;
  firstError = 0;
  if (nftw(directory.c_str(), removeOne, descriptors, FTW_DEPTH | FTW_PHYS | FTW_MOUNT) != 0 &&
      firstError == 0)
    firstError = errno;
  return firstError;
}

// Removes what killed processes have left in `parent`.
void sweep(const fs::path& parent) {
  std::error_code ignored;
  for (fs::directory_iterator entry(parent, ignored), end; !ignored && entry != end;
       entry.increment(ignored)) {
    if (interrupted() != 0) return;
    if (!entry->path().filename().string().starts_with("zelvox-")) continue;
    const int directory = openDirectory(entry->path());
    if (directory < 0) continue;
    if (hasMark(directory) && isLockable(directory)) removeTree(entry->path());
    close(directory);
  }
}

// Asked once: TMPDIR may be a path from the directory of the start, which foreign code leaves.
const fs::path& parentOfAll() {
  static const fs::path parent = [] {
    std::error_code error;
    const fs::path found = fs::temp_directory_path(error);
    if (error) throw Failure("TMPDIR names no directory: " + error.message());
    return fromStart(found);
  }();
  return parent;
}

}  // namespace

TemporaryDirectory::TemporaryDirectory() {
  const fs::path& parent = parentOfAll();
  sweep(parent);
  std::string name = parent / "zelvox-XXXXXX";
  const auto busy = removal.busy();
  if (mkdtemp(name.data()) == nullptr) {
    throw Failure("no temporary directory can be made in " + parent.string() + ": " +
                  std::strerror(errno) + " (TMPDIR names another place)");
  }
  directory = name;
  lock = openDirectory(directory);
  // Where there are no locks, as on NFS, there is no mark and nobody sweeps.
  if (lock >= 0 && isLockable(lock)) fchmod(lock, mark);
}

TemporaryDirectory::~TemporaryDirectory() {
  const auto busy = removal.busy();
  if (const std::string problem = remove(); !problem.empty()) sayWithoutWaiting(problem);
  if (lock >= 0) close(lock);
}

std::string TemporaryDirectory::remove() {
  const fs::path gone = std::exchange(directory, {});
  const int problem = gone.empty() ? 0 : removeTree(gone);
  return problem != 0 ? gone.string() + " cannot be removed: " + std::strerror(problem) : "";
}
