// What tells one packed model from every other: the identifier that importers name its instances
// and its binary by, and the GUID that they keep FMUs by.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "fmu_file/archive_writer.h"

// The model's name as a C identifier, which FMI 2.0.2, 2.2.1 demands as it begins the names of C
// functions where an FMU is linked statically, of at most 63 characters: what stands
// between letters and digits becomes one underscore. A name that loses letters by that, or its end,
// gets eight digits which are its own, and one that is no identifier by then "model_" before it.
std::string modelIdentifierOf(const std::string& modelName);

// A name-based UUID (version 5) of what stands in the entries, in their order; what they are called
// stands in them, too. FMUs that behave alike have the same one, so no date may be among them and
// no documentation.
std::string guidOf(const std::vector<ArchiveEntry>& entries);

// The library's file with another GUID than the one that it was compiled with. Throws Failure when
// it is not there exactly once.
std::string libraryWithGuid(const std::filesystem::path& library, const std::string& guid);
