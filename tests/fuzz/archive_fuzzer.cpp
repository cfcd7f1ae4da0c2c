// Whatever the archive: what the reader lets through is unpacked as it says, below the directory
// and nowhere else, and read by its names.
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <set>

#include "fmu_file/archive_reader.h"
#include "fuzz.h"

namespace fs = std::filesystem;

namespace {

// The archive, as a file that is only in memory, and a place beside which nothing may appear.
struct Place {
  int file = memfd_create("archive", 0);
  fs::path archive = "/proc/self/fd/" + std::to_string(file);
  fs::path parent, directory;

  Place() {
    std::string name = fs::temp_directory_path() / "fuzz-XXXXXX";
    require(file >= 0 && mkdtemp(name.data()) != nullptr, "there is a place");
    parent = name;
    directory = parent / "unpacked";
  }
  ~Place() { std::filesystem::remove_all(parent); }
};

std::string contentOf(const fs::path& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

// Refusals of one entry by its content are no refusals of the archive.
bool isRead(const Place& place, const std::string& name, std::string& text) {
  try {
    text = readArchiveEntry(place.archive, name);
    return true;
  } catch (const Failure&) {
    return false;
  }
}

void check(const Place& place) {
  const std::vector<std::string> files = archiveFiles(place.archive);
  bool unpacked = true;
  try {
    unpackArchive(place.archive, place.directory);
  } catch (const Failure&) {
    unpacked = false;
  }
  std::set<std::string> there;
  if (fs::exists(place.directory))
    for (const auto& entry : fs::recursive_directory_iterator(place.directory)) {
      require(!entry.is_symlink() && (entry.is_regular_file() || entry.is_directory()),
              "only files and directories are unpacked");
      if (entry.is_regular_file())
        there.insert(entry.path().lexically_relative(place.directory).string());
    }
  require(std::distance(fs::directory_iterator(place.parent), {}) <= 1, "nothing lies beside it");
  require(std::ranges::includes(std::set(files.begin(), files.end()), there),
          "nothing is unpacked that was not named");
  if (!unpacked) return;
  require(there.size() == files.size(), "all that was named is unpacked");
  for (const std::string& name : files) {
    std::string text;
    require(isRead(place, name, text), "what can be unpacked can be read");
    require(text == contentOf(place.directory / name), "and is the same");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const Place place;
  require(ftruncate(place.file, 0) == 0 &&
              pwrite(place.file, data, size, 0) == static_cast<ssize_t>(size),
          "the archive is written");
  readOrRefuse(data, size, [](std::string_view) { check(place); });
  std::filesystem::remove_all(place.directory);
  return 0;
}
