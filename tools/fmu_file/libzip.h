// What reading and writing of archives share: the owners of libzip's objects, its reasons, and the
// rules for the names of entries.
#pragma once

#include <zip.h>

#include <memory>
#include <string>
#include <string_view>

struct Discard {
  void operator()(zip_t* archive) const { zip_discard(archive); }
  void operator()(zip_file_t* file) const { zip_fclose(file); }
};

using Archive = std::unique_ptr<zip_t, Discard>;
using OpenEntry = std::unique_ptr<zip_file_t, Discard>;

// The sentence that belongs to an error code of libzip.
std::string reasonOf(int zipError);

// Why the name may not stand in an archive, or nullptr. No FMU needs directories within directories
// without end; what is harmless on this system (drive
// letters, backslashes) leads out of the directory on another.
const char* problemOf(std::string_view name);
