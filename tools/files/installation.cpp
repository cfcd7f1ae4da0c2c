#include "files/installation.h"

#include <string>

#include "ending/failure.h"

namespace fs = std::filesystem;

namespace {

// A file that belongs to this program; both directories are relative to that of the executable.
fs::path find(const std::string& name, const char* installedIn, const char* builtIn) {
  const fs::path here = thisProgram().parent_path();
  const fs::path installed = (here / installedIn / name).lexically_normal();
  const fs::path built = (here / builtIn / name).lexically_normal();
  for (const fs::path& candidate : {installed, built})
    if (fs::is_regular_file(candidate)) return candidate;
  throw Failure(name + " is missing, expected it at " + installed.string() +
                "; install zelvox again");
}

}  // namespace

fs::path zelvoxJar() {
  return find("zelvox.jar", ZELVOX_INSTALLED_JARS, "../java");
}

fs::path zelvoxLibrary() {
  return find("zelvox.so", ZELVOX_INSTALLED_LIBRARIES, "..");
}

fs::path preloadLibrary() {
  return find("zelvox-preload.so", ZELVOX_INSTALLED_LIBRARIES "/zelvox", "preload");
}

fs::path thisProgram() {
  return fs::read_symlink("/proc/self/exe");
}
