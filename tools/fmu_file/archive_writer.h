// Writing FMU files as zip archives (libzip): the same input gives the same bytes.
#pragma once

#include <ctime>
#include <filesystem>
#include <string>
#include <vector>

struct ArchiveEntry {
  std::string name;              // within the archive, with "/"
  std::filesystem::path source;  // a file to take, or empty
  std::string text;              // the content when `source` is empty
};

// The time that files of this run carry: SOURCE_DATE_EPOCH when the environment has it, so that the
// same input gives the same bytes, otherwise now. Throws Failure when it is no number of seconds.
std::time_t creationTime();

// Writes `target` as a SafeFile: whole, or not at all. The order is that of `entries`; every entry
// carries the time `when`. Throws Failure and leaves an older `target` as it was.
void writeArchive(const std::filesystem::path& target, const std::vector<ArchiveEntry>& entries,
                  std::time_t when = creationTime());
