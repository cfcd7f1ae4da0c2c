#include "files/installation.h"

#include <string>

#include "ending/failure.h"

namespace fs = std::filesystem;

namespace {

// A file that belongs to this program, relative to the directory of the executable.
struct Companion {
  const char* name;
  const char* installed;
  const char* built;
};

constexpr Companion jar = {"zelvox.jar", ZELVOX_INSTALLED_JARS "/zelvox.jar", "../java/zelvox.jar"};
constexpr Companion library = {"zelvox.so", ZELVOX_INSTALLED_LIBRARIES "/zelvox.so",
                               "../zelvox.so"};
constexpr Companion preload = {"zelvox-preload.so",
                               ZELVOX_INSTALLED_LIBRARIES "/zelvox/zelvox-preload.so",
                               "preload/zelvox-preload.so"};

fs::path find(const Companion& companion) {
  const fs::path here = thisProgram().parent_path();
  const fs::path installed = (here / companion.installed).lexically_normal();
  const fs::path built = (here / companion.built).lexically_normal();
  for (const fs::path& candidate : {installed, built})
    if (fs::is_regular_file(candidate)) return candidate;
  throw Failure(std::string(companion.name) + " is missing, expected it at " + installed.string() +
                "; install zelvox again");
}

}  // namespace

fs::path zelvoxJar() {
  return find(jar);
}

fs::path zelvoxLibrary() {
  return find(library);
}

fs::path preloadLibrary() {
  return find(preload);
}

fs::path thisProgram() {
  return fs::read_symlink("/proc/self/exe");
}
