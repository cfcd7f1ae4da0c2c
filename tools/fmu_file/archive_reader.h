// Reading FMU files as zip archives (libzip). It trusts nothing: an archive may come from anywhere.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

// Each function throws Failure for an archive that is unreadable, truncated or encrypted,
// has an entry that would leave its directory, a symbolic link, a name twice, or unpacks to more
// than the limits that the source states; whichever entry is asked for, all are checked. So it does
// when a signal asks the command to end (ending/interrupts.h).

// Unpacks the archive into `directory`, which is empty. Nothing outside of it is ever touched.
// After a failure it holds what was unpacked so far.
void unpackArchive(const std::filesystem::path& archive, const std::filesystem::path& directory);

// One entry, as text; for commands that need nothing else of the archive.
std::string readArchiveEntry(const std::filesystem::path& archive, const std::string& name);

// The names of all files in the archive, without the directories.
std::vector<std::string> archiveFiles(const std::filesystem::path& archive);
