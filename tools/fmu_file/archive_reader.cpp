#include "fmu_file/archive_reader.h"

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <functional>
#include <map>
#include <string_view>

#include "ending/failure.h"
#include "ending/interrupts.h"
#include "fmu_file/libzip.h"
#include "words/text.h"

namespace fs = std::filesystem;

namespace {

// What an archive may cost whoever opens it. FMUs hold binaries for some platforms and tables of
// data: hundreds of megabytes are large, and the system's temporary directory must bear it.
constexpr std::uint64_t largestUnpackedSize = std::uint64_t{4} << 30;
constexpr std::uint64_t mostEntries = 100'000;  // with the directories that are only implied
// Deflate can reach 1000 : 1, but code and tables stay below 50. Small archives may do as they
// like: an empty table is no attack.
constexpr std::uint64_t largestCompressionRatio = 200;
constexpr std::uint64_t unpackedSizeWithoutQuestions = std::uint64_t{64} << 20;
// A text is held in memory, and its XML tree needs several times as much.
constexpr std::uint64_t largestText = std::uint64_t{256} << 20;

struct Entry {
  std::uint64_t index;
  std::string path;  // the name without the slash at the end of a directory's
  bool isDirectory;
  std::uint64_t size;
};

// An archive whose entries have been checked.
struct CheckedArchive {
  fs::path path;
  Archive archive;
  std::vector<Entry> entries;
};

[[noreturn]] void refuse(const fs::path& archive, const std::string& reason) {
  throw Failure(printable(archive.string()) + " " + reason);
}

[[noreturn]] void refuseEntry(const fs::path& archive, std::string_view name,
                              const std::string& reason) {
  refuse(archive, "is refused: its entry " + inQuotes(name) + " " + reason);
}

[[noreturn]] void refuseCount(const fs::path& archive, std::uint64_t count) {
  refuse(archive, "is refused: it has " + std::to_string(count) + " entries, more than " +
                      std::to_string(mostEntries));
}

// Between pieces of work of which one archive can ask for many.
void goOn(const fs::path& archive) {
  if (interrupted() != 0) refuse(archive, "was not read to its end");
}

// Refuses names that stand for the same file, or for a file and a directory, and more files and
// directories than can be unpacked within seconds.
void checkTree(const fs::path& archive, const std::vector<Entry>& entries) {
  std::map<std::string_view, bool> directories;  // false for a file
  for (const Entry& entry : entries) {
    if (!directories.emplace(entry.path, entry.isDirectory).second)
      refuseEntry(archive, entry.path, "is there twice");
  }
  for (const Entry& entry : entries) {
    goOn(archive);
    const std::string_view path = entry.path;
    for (std::size_t end = path.find('/'); end != path.npos; end = path.find('/', end + 1)) {
      const auto [above, isImplied] = directories.emplace(path.substr(0, end), true);
      if (!above->second) refuseEntry(archive, above->first, "is both a file and a directory");
    }
  }
  if (directories.size() > mostEntries) refuseCount(archive, directories.size());
}

Entry checkedEntry(zip_t* archive, const fs::path& path, std::uint64_t index) {
  zip_stat_t stat;
  const char* const name = zip_get_name(archive, index, ZIP_FL_ENC_RAW);
  if (name == nullptr || zip_stat_index(archive, index, 0, &stat) != 0) {
    refuse(path, std::string("cannot be read: ") + zip_strerror(archive));
  }
  // What is not UTF-8 is of another code page. libzip takes it for the one of DOS, and the letters
  // may then be others than were meant, which does no harm.
  const char* const utf8 = zip_get_name(archive, index, ZIP_FL_ENC_GUESS);
  if (utf8 == nullptr) refuseEntry(path, name, "has a name that cannot be read");
  if (const char* const problem = problemOf(utf8)) refuseEntry(path, utf8, problem);
  if ((stat.valid & ZIP_STAT_ENCRYPTION_METHOD) == 0 || stat.encryption_method != ZIP_EM_NONE) {
    refuseEntry(path, name, "is encrypted");
  }
  zip_uint8_t system = 0;
  zip_uint32_t attributes = 0;
  zip_file_get_external_attributes(archive, index, 0, &system, &attributes);
  // Unix modes are believed whatever system the entry claims to come from.
  const mode_t kind = attributes >> 16 & S_IFMT;
  if (kind == S_IFLNK) refuseEntry(path, name, "is a symbolic link");
  if (kind != 0 && kind != S_IFREG && kind != S_IFDIR) refuseEntry(path, name, "is no plain file");
  if ((stat.valid & ZIP_STAT_SIZE) == 0) refuseEntry(path, name, "has no size");
  std::string entryPath = utf8;
  const bool isDirectory = entryPath.back() == '/';
  if (isDirectory) entryPath.pop_back();
  return {index, std::move(entryPath), isDirectory, stat.size};
}

CheckedArchive openChecked(const fs::path& path) {
  int error = 0;
  CheckedArchive checked{path, Archive(zip_open(path.c_str(), ZIP_RDONLY, &error)), {}};
  if (checked.archive == nullptr)
    refuse(path, "cannot be opened as a zip archive: " + reasonOf(error));

  const auto count = static_cast<std::uint64_t>(zip_get_num_entries(checked.archive.get(), 0));
  if (count > mostEntries) refuseCount(path, count);
  std::uint64_t unpackedSize = 0;
  for (std::uint64_t index = 0; index < count; ++index) {
    goOn(path);
    Entry entry = checkedEntry(checked.archive.get(), path, index);
    if (entry.size > largestUnpackedSize - unpackedSize) {
      refuse(path, "is refused: it unpacks to more than " +
                       std::to_string(largestUnpackedSize >> 20) + " MiB");
    }
    unpackedSize += entry.size;
    checked.entries.push_back(std::move(entry));
  }
  checkTree(path, checked.entries);
  if (unpackedSize > unpackedSizeWithoutQuestions &&
      unpackedSize / largestCompressionRatio > fs::file_size(path)) {
    refuse(path, "is refused: it unpacks to " + std::to_string(unpackedSize >> 20) +
                     " MiB, more than " + std::to_string(largestCompressionRatio) +
                     " times its own size");
  }
  return checked;
}

// Hands the content over piece by piece. The sizes that were checked are only claims so far.
void readEntry(const CheckedArchive& checked, const Entry& entry,
               const std::function<void(std::string_view)>& take) {
  const OpenEntry open(zip_fopen_index(checked.archive.get(), entry.index, 0));
  if (open == nullptr) {
    refuseEntry(checked.path, entry.path,
                std::string("cannot be read: ") + zip_strerror(checked.archive.get()));
  }
  std::array<char, 1 << 16> buffer;
  std::uint64_t size = 0;
  while (const zip_int64_t length = zip_fread(open.get(), buffer.data(), buffer.size())) {
    goOn(checked.path);
    if (length < 0) {
      refuseEntry(checked.path, entry.path,
                  std::string("cannot be read: ") + zip_file_strerror(open.get()));
    }
    size += static_cast<std::uint64_t>(length);
    if (size > entry.size) break;
    take({buffer.data(), static_cast<std::size_t>(length)});
  }
  if (size != entry.size)
    refuseEntry(checked.path, entry.path, "is not of the size that it states");
}

void unpackEntry(const CheckedArchive& checked, const Entry& entry, const fs::path& directory) {
  const fs::path target = directory / entry.path;
  const auto require = [&](bool success) {
    if (!success) {
      throw Failure("the entry " + inQuotes(entry.path) + " of " +
                    printable(checked.path.string()) + " cannot be unpacked to " +
                    directory.string() + ": " + std::strerror(errno));
    }
  };
  std::error_code error;
  fs::create_directories(entry.isDirectory ? target : target.parent_path(), error);
  errno = error.value();
  require(!error);
  if (entry.isDirectory) return;

  std::ofstream file(target, std::ios::binary);
  require(file.is_open());
  readEntry(checked, entry, [&](std::string_view piece) {
    require(
        static_cast<bool>(file.write(piece.data(), static_cast<std::streamsize>(piece.size()))));
  });
  file.close();
  require(!file.fail());
}

}  // namespace

void unpackArchive(const fs::path& archive, const fs::path& directory) {
  const CheckedArchive checked = openChecked(archive);
  for (const Entry& entry : checked.entries) {
    goOn(archive);
    unpackEntry(checked, entry, directory);
  }
}

std::string readArchiveEntry(const fs::path& archive, const std::string& name) {
  const CheckedArchive checked = openChecked(archive);
  for (const Entry& entry : checked.entries) {
    if (entry.isDirectory || entry.path != name) continue;
    if (entry.size > largestText) refuseEntry(archive, name, "is too large for a text");
    std::string text;
    text.reserve(entry.size);
    readEntry(checked, entry, [&text](std::string_view piece) { text += piece; });
    return text;
  }
  refuse(archive, "has no entry " + inQuotes(name));
}

std::vector<std::string> archiveFiles(const fs::path& archive) {
  std::vector<std::string> names;
  for (Entry& entry : openChecked(archive).entries) {
    if (!entry.isDirectory) names.push_back(std::move(entry.path));
  }
  return names;
}
