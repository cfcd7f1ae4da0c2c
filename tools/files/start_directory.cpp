#include "files/start_directory.h"

namespace fs = std::filesystem;

namespace {

fs::path startDirectory;  // empty when it has no path any more

}  // namespace

void rememberStartDirectory() {
  std::error_code gone;
  startDirectory = fs::current_path(gone);
}

fs::path fromStart(const fs::path& path) {
  return path.empty() ? path : startDirectory / path;
}
