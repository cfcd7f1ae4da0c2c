#include "preload/code_owner.h"

#include <dlfcn.h>
#include <link.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstdlib>
#include <string_view>

namespace {

// By name, since a JVM may share its directory with libraries of others.
constexpr std::array<std::string_view, 9> jvmLibraries{
    "libextnet.so", "libjava.so", "libjimage.so", "libjvm.so", "libjvmcicompiler.so",
    "libnet.so",    "libnio.so",  "libprefs.so",  "libzip.so"};

// The directory of those libraries, with a slash behind it, as it was given and without links: the
// JVM loads the others by the latter.
struct Directory {
  std::array<char, PATH_MAX> path{};
  std::size_t length = 0;
};

std::array<Directory, 2> directories;

std::string_view text(const Directory& directory) noexcept {
  return {directory.path.data(), directory.length};
}

// What is left of .../lib/server/libjvm.so is .../lib/.
void keepDirectory(std::string_view libjvm, Directory& directory) noexcept {
  for (int i = 0; i < 2; ++i) libjvm = libjvm.substr(0, libjvm.find_last_of('/'));
  directory.length = std::min(libjvm.size() + 1, directory.path.size());
  std::copy_n(libjvm.begin(), directory.length - 1, directory.path.begin());
  directory.path[directory.length - 1] = '/';
}

const link_map* objectOf(const void* code) noexcept {
  dl_find_object found{};
  if (_dl_find_object(const_cast<void*>(code), &found) != 0) return nullptr;
  return found.dlfo_link_map;
}

// The name of the library when it is one in those directories, else empty.
std::string_view nameInJvm(const void* code) noexcept {
  if (directories[0].length == 0) return {};
  const link_map* const object = objectOf(code);
  if (object == nullptr) return {};
  const std::string_view file = object->l_name;
  const bool inside =
      std::any_of(directories.begin(), directories.end(), [file](const Directory& directory) {
        return directory.length > 0 && file.starts_with(text(directory));
      });
  return inside ? file.substr(file.rfind('/') + 1) : std::string_view();
}

}  // namespace

void setJvm(const char* libjvm) noexcept {
  keepDirectory(libjvm, directories[0]);
  std::array<char, PATH_MAX> resolved{};
  if (realpath(libjvm, resolved.data()) != nullptr) keepDirectory(resolved.data(), directories[1]);
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
