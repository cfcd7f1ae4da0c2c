// A whole file in memory.
#pragma once

#include <filesystem>
#include <string>

// Throws Failure when the file cannot be read.
std::string fileContent(const std::filesystem::path& file);
