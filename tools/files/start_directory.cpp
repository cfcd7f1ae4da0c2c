#include "files/start_directory.h"

namespace fs = std::filesystem;

namespace {

// Empty when the directory has no path any more.
const fs::path& startDirectory() {
  static const fs::path directory = [] {
    std::error_code gone;
    return fs::current_path(gone);
  }();
  return directory;
}

}  // namespace

void rememberStartDirectory() {
  startDirectory();
}

fs::path fromStart(const fs::path& path) {
  return path.empty() ? path : startDirectory() / path;
}
