// Removing a directory with all that is in it, however deep: with a handful of descriptors at a
// time, and without following symbolic links.
#pragma once

#include <filesystem>
#include <system_error>

// What cannot be removed does not keep the rest; the first reason is the result.
std::error_code removeTree(const std::filesystem::path& directory);
