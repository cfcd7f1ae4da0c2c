// FMU files as zip archives (libzip). Reading trusts nothing: an archive may come from anywhere.
#pragma once

#include <ctime>
#include <filesystem>
#include <string>
#include <vector>

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

// Reading. Each function throws Failure for an archive that is unreadable, truncated or encrypted,
// has an entry that would leave its directory, a symbolic link, a name twice, or unpacks to more
// than the limits that the source states; whichever entry is asked for, all are checked.

// Unpacks the archive into `directory`, which is made when it does not exist and must be empty when
// it does. Nothing outside of it is ever touched, and after a failure it is empty again.
void unpackArchive(const std::filesystem::path& archive, const std::filesystem::path& directory);

// One entry, as text; for commands that need nothing else of the archive.
std::string readArchiveEntry(const std::filesystem::path& archive, const std::string& name);

// The names of all files in the archive, without the directories.
std::vector<std::string> archiveFiles(const std::filesystem::path& archive);

// Writing.

struct ArchiveEntry {
  std::string name;              // within the archive, with "/"
  std::filesystem::path source;  // a file to take, or empty
  std::string text;              // the content when `source` is empty
};

// Writes the archive beside `target` and renames it, so that `target` is never half written. The
// order is that of `entries`; every entry carries creationTime(). Throws Failure and leaves an
// older `target` as it was.
void writeArchive(const std::filesystem::path& target, const std::vector<ArchiveEntry>& entries);

// The time that files of this run carry: SOURCE_DATE_EPOCH when the environment has it, so that the
// same input gives the same bytes, otherwise now. Throws Failure when it is no number of seconds.
std::time_t creationTime();
