#include "files/overwriting.h"

#include <sys/stat.h>

#include <optional>
#include <tuple>

#include "ending/failure.h"
#include "files/safe_file.h"

namespace fs = std::filesystem;

namespace {

// Device and inode; of a file that does not exist yet those of its directory, and its name in
// there.
using Identity = std::tuple<dev_t, ino_t, std::string>;

std::optional<Identity> identityOf(const fs::path& file) {
  if (file.empty()) return std::nullopt;
  const Destination destination(file);
  if (destination.direct) return std::nullopt;
  if (destination.exists) return Identity(destination.status.st_dev, destination.status.st_ino, "");
  struct stat status {};
  if (stat(destination.path.parent_path().c_str(), &status) != 0) return std::nullopt;
  return Identity(status.st_dev, status.st_ino, destination.path.filename().string());
}

}  // namespace

void refuseOverwriting(const std::vector<NamedFile>& read, const std::vector<NamedFile>& written) {
  std::vector<NamedFile> taken = read;
  for (const NamedFile& target : written) {
    const std::optional<Identity> identity = identityOf(target.file);
    for (const NamedFile& other : taken)
      if (identity && identityOf(other.file) == identity)
        throw Failure(target.place + " " + target.file.string() + " would overwrite " +
                          other.place + " " + other.file.string() + ", expected another file",
                      ExitCode::usage);
    taken.push_back(target);
  }
}
