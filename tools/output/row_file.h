// A comma-separated table that is written row by row: texts in quotes, numbers as short as they can
// be and read back as exactly the same. It appears whole (safe_file.h); its part has each row at
// the latest about a second after it was given, in whole rows, as long as somebody looks at the
// clock.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <variant>

#include "base/safe_file.h"

// What a variable of an FMU can hold: booleans are 0 and 1.
using Cell = std::variant<double, std::string>;

// A table's file as users give it: "-" is stdout, and "./-" a file.
inline bool isStandardOutput(const std::filesystem::path& table) {
  return table == "-";
}
// For sentences.
std::string nameOfTable(const std::filesystem::path& table);

class RowFile {
 public:
  // Throws Failure when the file cannot be written, as do the others. Until close() it stays as it
  // is, and it does so for good when close() is never called. Before stdout is written,
  // keepStandardOutputForResult() has been called.
  explicit RowFile(const std::filesystem::path& file);

  // The next cell of the row.
  void add(double number);
  void add(long long number);
  void add(std::string_view text);
  void add(const Cell& cell);
  void addEmpty();
  // The row is complete. Gives whether all rows so far were written.
  bool endRow();

  // Once a second, whether rows wait that were given before. Throws Failure when nobody reads them.
  bool isLate();
  // Writes what was given and waits. When the disk does not take it, it is dropped. False when
  // nothing waited.
  bool flush();
  // What was written becomes the file.
  void close();

  // Whether it appears on a terminal.
  bool isSeen() const { return file.isTerminal(); }

 private:
  void separate();

  SafeFile file;
  std::string rows;  // that wait to be written
  bool rowBegun = false;
  long long flushed, looked;  // in seconds
};
