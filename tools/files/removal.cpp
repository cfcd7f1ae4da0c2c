#include "files/removal.h"

#include <ftw.h>

#include <cerrno>
#include <cstdio>

namespace {

thread_local int firstError;

int removeOne(const char* path, const struct stat*, int, FTW*) {
  if (std::remove(path) != 0 && firstError == 0) firstError = errno;
  return 0;
}

}  // namespace

std::error_code removeTree(const std::filesystem::path& directory) {
  constexpr int descriptors = 8;
  firstError = 0;
  if (nftw(directory.c_str(), removeOne, descriptors, FTW_DEPTH | FTW_PHYS | FTW_MOUNT) != 0 &&
      firstError == 0)
    firstError = errno;
  return {firstError, std::generic_category()};
}
