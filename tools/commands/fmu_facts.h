// What `zelvox info` knows of an FMU, and the ways in which it tells it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "fmu_file/model_description.h"

struct FmuFacts {
  ModelDescription model;
  std::vector<std::string> platforms;  // directories of binaries/, in alphabetical order
  bool needsJvm = false;
  std::uintmax_t size = 0;  // in bytes
  std::size_t files = 0;
};

// Prints the variables by causality; the first rows of each table with texts that are cut, or
// everything.
void printVariables(const ModelDescription& model, bool all);

// As docs/info.md describes it. In ASCII whatever the FMU holds, so valid UTF-8 and harmless on a
// terminal.
std::string jsonOf(const FmuFacts& facts);
