// The bytes of files: read by pieces, or whole, and written.
#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <string_view>

// Pieces of 1 MiB, of which only the last is shorter; a file may be larger than memory. Throws
// Failure when the file cannot be read.
void readPieces(const std::filesystem::path& file,
                const std::function<void(std::string_view)>& use);

// Throws Failure when the file cannot be read.
std::string fileContent(const std::filesystem::path& file);

// Writes all of the bytes; false when that did not work (errno).
bool writeAll(int descriptor, std::string_view bytes) noexcept;
