#include "preload/code_owner.h"

#include <dlfcn.h>
#include <link.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <string_view>

namespace {

// By name, since a JVM may share its directory with libraries of others.
constexpr std::array<std::string_view, 9> jvmLibraries{
    "libextnet.so", "libjava.so", "libjimage.so", "libjvm.so", "libjvmcicompiler.so",
    "libnet.so",    "libnio.so",  "libprefs.so",  "libzip.so"};

// The directory of those libraries, with a slash behind it, as it was given and without links: the
// JVM loads the others by the latter. Never freed, since threads begin until the process ends.
std::array<std::string_view, 2> directories;

// What is left of .../lib/server/libjvm.so is .../lib/.
std::string_view libraryDirectory(const char* libjvm) noexcept {
  if (libjvm == nullptr) return {};
  std::string_view directory = libjvm;
  for (int i = 0; i < 2; ++i) directory = directory.substr(0, directory.find_last_of('/'));
  return {libjvm, directory.size() + 1};
}

const link_map* objectOf(const void* code) noexcept {
  dl_find_object found{};
  if (_dl_find_object(const_cast<void*>(code), &found) != 0) return nullptr;
  return found.dlfo_link_map;
}

// The name of the library when it is one in those directories, else empty.
std::string_view nameInJvm(const void* code) noexcept {
  if (directories[0].empty()) return {};
  const link_map* const object = objectOf(code);
  if (object == nullptr) return {};
  const std::string_view file = object->l_name;
  const bool inside =
      std::any_of(directories.begin(), directories.end(), [file](std::string_view directory) {
        return !directory.empty() && file.starts_with(directory);
      });
  return inside ? file.substr(file.rfind('/') + 1) : std::string_view();
}

}  // namespace

void setJvm(const char* libjvm) noexcept {
  directories = {libraryDirectory(strdup(libjvm)), libraryDirectory(realpath(libjvm, nullptr))};
}

bool isJvms(const void* code) noexcept {
  const std::string_view name = nameInJvm(code);
  return std::find(jvmLibraries.begin(), jvmLibraries.end(), name) != jvmLibraries.end();
}

bool isLibjvms(const void* code) noexcept {
  return nameInJvm(code) == "libjvm.so";
}

bool isOtherPreloads(const void* code) noexcept {
  const link_map* const object = objectOf(code);
  const link_map* before = objectOf(reinterpret_cast<const void*>(&setJvm));
  // The first in the list of objects, which has none before it, is the program.
  for (before = before->l_prev; before != nullptr && before->l_prev != nullptr;
       before = before->l_prev)
    if (before == object) return true;
  return false;
}
