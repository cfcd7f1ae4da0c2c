// The directory that the process was started in, by which users mean their paths: code of an FMU or
// of a model in this process may go to another one.
#pragma once

#include <filesystem>

// Before any foreign code runs.
void rememberStartDirectory();

// The path as an absolute one; the empty one stays empty.
std::filesystem::path fromStart(const std::filesystem::path& path);
