#include "files/overwriting.h"

#include <system_error>

#include "ending/failure.h"
#include "files/safe_file.h"

namespace fs = std::filesystem;

namespace {

// Devices and the like are nobody's content.
bool isOneFile(const fs::path& a, const fs::path& b) {
  if (a.empty() || b.empty()) return false;
  const Destination first(a), second(b);
  if (first.direct || second.direct) return false;
  std::error_code error;
  if (first.exists) return fs::equivalent(first.path, second.path, error);
  const fs::path made = fs::weakly_canonical(first.path, error);
  return !error && made == fs::weakly_canonical(second.path, error);
}

}  // namespace

void refuseOverwriting(const std::vector<NamedFile>& read, const std::vector<NamedFile>& written) {
  std::vector<NamedFile> taken = read;
  for (const NamedFile& target : written) {
    for (const NamedFile& other : taken)
      if (isOneFile(target.file, other.file))
        throw Failure(target.place + " " + target.file.string() + " would overwrite " +
                          other.place + " " + other.file.string() + ", expected another file",
                      ExitCode::usage);
    taken.push_back(target);
  }
}
