// What a command needs on disk only while it runs.
#pragma once

#include <filesystem>

// A directory of its own under the system's temporary directory that is removed with the object.
class TemporaryDirectory {
 public:
  TemporaryDirectory();
  ~TemporaryDirectory();
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
  const std::filesystem::path& path() const { return directory; }

 private:
  std::filesystem::path directory;
};
