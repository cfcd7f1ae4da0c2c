// What lies in a packed FMU, file by file.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "fmu_file/archive_writer.h"
#include "packer/model_report.h"

// Copies the jars as they will lie in the FMU. Throws Failure for names that cannot lie there.
void copyJars(const std::vector<std::filesystem::path>& jars,
              const std::filesystem::path& resources);

// The entries of the FMU that is called `file`, with the jars that were copied to `resources`.
std::vector<ArchiveEntry> fmuContents(const PackedModel& packed,
                                      const std::vector<std::filesystem::path>& jars,
                                      const std::filesystem::path& resources,
                                      const std::string& file);
