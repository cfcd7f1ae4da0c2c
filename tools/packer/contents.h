// What lies in a packed FMU, file by file.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "fmu_file/archive_writer.h"
#include "packer/model_report.h"

// The entries of the FMU that is called `file`, with these jars from `resources`.
std::vector<ArchiveEntry> fmuContents(const PackedModel& packed,
                                      const std::vector<std::string>& jars,
                                      const std::filesystem::path& resources,
                                      const std::string& file);
