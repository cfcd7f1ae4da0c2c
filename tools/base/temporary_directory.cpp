#include "base/temporary_directory.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <system_error>

#include "base/failure.h"

namespace fs = std::filesystem;

TemporaryDirectory::TemporaryDirectory() {
  std::error_code error;
  const fs::path parent = fs::temp_directory_path(error);
  if (error) throw Failure("TMPDIR names no directory: " + error.message());
  std::string name = fs::absolute(parent) / "zelvox-XXXXXX";
  if (mkdtemp(name.data()) == nullptr) {
    throw Failure("no temporary directory can be made in " + parent.string() + ": " +
                  std::strerror(errno) + " (TMPDIR names another place)");
  }
  directory = name;
}

TemporaryDirectory::~TemporaryDirectory() {
  std::error_code ignored;
  fs::remove_all(directory, ignored);
}
