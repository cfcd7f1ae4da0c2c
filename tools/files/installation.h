// What was installed (or built) with this program: found relative to the executable, both in an
// installation and in a build tree. Each function throws Failure when its file is missing.
#pragma once

#include <filesystem>

std::filesystem::path zelvoxJar();
std::filesystem::path zelvoxLibrary();
std::filesystem::path preloadLibrary();

// The executable of this process.
std::filesystem::path thisProgram();
