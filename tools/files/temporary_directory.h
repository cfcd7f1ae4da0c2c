// What a command needs on disk only while it runs.
#pragma once

#include <filesystem>
#include <string>

#include "ending/interrupts.h"

// A directory of its own under the system's temporary directory that is removed with the object,
// which says so when it cannot be. One whose process was killed (SIGKILL, no power) is removed by
// the next TemporaryDirectory in the same place, of whichever process of the same user.
class TemporaryDirectory {
 public:
  TemporaryDirectory();
  ~TemporaryDirectory();
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
  const std::filesystem::path& path() const { return directory; }

 private:
  // What is to be told about it; nothing when it went well.
  std::string remove();

  std::filesystem::path directory;
  int lock = -1;  // the descriptor that says that somebody uses the directory
  AtForcedEnd removal{[this] { return remove(); }};
};
