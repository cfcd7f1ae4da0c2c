#include "fmu_file/archive_writer.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>

#include "ending/failure.h"
#include "ending/interrupts.h"
#include "files/safe_file.h"
#include "fmu_file/libzip.h"
#include "words/numbers.h"
#include "words/text.h"

namespace fs = std::filesystem;

namespace {

// The time as zip archives keep it. Always of UTC, as the bytes shall not depend on the time zone.
struct DosTime {
  zip_uint16_t time, date;

  explicit DosTime(std::time_t seconds) {
    std::tm utc{};
    gmtime_r(&seconds, &utc);
    const int year = std::clamp(utc.tm_year, 80, 207) - 80;  // the range begins in 1980
    time = static_cast<zip_uint16_t>(utc.tm_hour << 11 | utc.tm_min << 5 | utc.tm_sec / 2);
    date = static_cast<zip_uint16_t>(year << 9 | (utc.tm_mon + 1) << 5 | utc.tm_mday);
  }
};

// The texts of `entry` must outlive the archive's closing.
bool addEntry(zip_t* archive, const ArchiveEntry& entry, const DosTime& when) {
  zip_source_t* const source =
      entry.source.empty() ? zip_source_buffer(archive, entry.text.data(), entry.text.size(), 0)
                           : zip_source_file(archive, entry.source.c_str(), 0, -1);
  if (source == nullptr) return false;
  const zip_int64_t index = zip_file_add(archive, entry.name.c_str(), source, ZIP_FL_ENC_UTF_8);
  if (index < 0) {
    zip_source_free(source);
    return false;
  }
  const auto added = static_cast<zip_uint64_t>(index);
  constexpr zip_uint32_t plainFile = zip_uint32_t{S_IFREG | 0644} << 16;
  return zip_file_set_dostime(archive, added, when.time, when.date, 0) == 0 &&
         zip_file_set_external_attributes(archive, added, 0, ZIP_OPSYS_UNIX, plainFile) == 0;
}

}  // namespace

void writeArchive(const fs::path& target, const std::vector<ArchiveEntry>& entries,
                  std::time_t when) {
  const auto fail = [&target](const std::string& reason) {
    throw Failure(printable(target.string()) + " cannot be written: " + reason);
  };
  const DosTime time(when);
  SafeFile file(target);
  file.writeWith([&](const fs::path& part) {
    int error = 0;
    // Nothing is written before zip_close, which writes a file beside the part and renames it, or
    // removes it when it fails.
    Archive archive(zip_open(part.c_str(), ZIP_CREATE | ZIP_TRUNCATE, &error));
    if (archive == nullptr) fail(reasonOf(error));
    zip_register_cancel_callback_with_state(
        archive.get(), [](zip_t*, void*) { return interrupted() != 0 ? 1 : 0; }, nullptr, nullptr);
    for (const ArchiveEntry& entry : entries) {
      const char* const problem = problemOf(entry.name);
      if (problem != nullptr) fail("the entry " + inQuotes(entry.name) + " " + problem);
      if (!addEntry(archive.get(), entry, time)) {
        fail("the entry " + inQuotes(entry.name) + ": " + zip_strerror(archive.get()));
      }
    }
    if (zip_close(archive.get()) != 0) fail(zip_strerror(archive.get()));
    archive.release();
  });
  file.commit();
}

std::time_t creationTime() {
  const char* const epoch = std::getenv("SOURCE_DATE_EPOCH");
  if (epoch == nullptr || *epoch == '\0') return std::time(nullptr);
  const std::optional<std::time_t> seconds = parseWhole<std::time_t>(epoch);
  if (!seconds || *seconds < 0)
    throw Failure("SOURCE_DATE_EPOCH is " + inQuotes(epoch) + ", expected a number of seconds",
                  ExitCode::usage);
  return *seconds;
}
