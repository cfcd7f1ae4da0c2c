// Results as tables of values over time: comma separated, one header line of names, the first
// column "time", in the plainest form. Numbers are as short as they can be and read back as exactly
// the same.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "base/safe_file.h"

// What a variable of an FMU can hold: booleans are 0 and 1.
using Cell = std::variant<double, std::string>;

// A table's file as users give it: "-" is stdout, and "./-" a file.
inline bool isStandardOutput(const std::filesystem::path& table) {
  return table == "-";
}
// For sentences.
std::string nameOfTable(const std::filesystem::path& table);

// Writes a table row by row, into the part beside the file (safe_file.h) at the latest about a
// second after each row was given, in whole rows.
class CsvWriter {
 public:
  // Throws Failure when the file cannot be written, as do the others. Until close() it stays as it
  // is, and it does so for good when close() is never called. Before stdout is written,
  // keepStandardOutputForResult() has been called.
  CsvWriter(const std::filesystem::path& file, const std::vector<std::string>& names);
  void write(double time, const std::vector<Cell>& row);
  // Writes what was given and waits. When the disk does not take it, it is dropped.
  void flush();
  // What was written becomes the file.
  void close();

  // Whether it appears on a terminal.
  bool isSeen() const { return file.isTerminal(); }

  // The time of the last row that was written, and not only given.
  std::optional<double> lastTime() const { return written; }

 private:
  SafeFile file;
  std::string lines;  // that wait to be written
  std::optional<double> given, written;
  long long flushed;
};
