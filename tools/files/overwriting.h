// Sees to it that no command replaces what it reads.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

// A file and the place in the command line that names it, for messages; no file when it is empty.
struct NamedFile {
  std::string place;
  std::filesystem::path file;
};

// Throws Failure (usage) when one of the files that will be written is one of those that are read,
// by whatever name or link, or is to be written twice.
void refuseOverwriting(const std::vector<NamedFile>& read, const std::vector<NamedFile>& written);
