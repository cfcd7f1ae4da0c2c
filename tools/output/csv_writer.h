// Results as tables of values over time: comma separated, one header line of names, the first
// column "time", in the plainest form.
#pragma once

#include <filesystem>
#include <fstream>
#include <string>
#include <variant>
#include <vector>

// What a variable of an FMU can hold: booleans are 0 and 1.
using Cell = std::variant<double, std::string>;

// Writes a table row by row. What was written is in the file at the latest when the object is gone,
// and about every second before.
class CsvWriter {
 public:
  // Replaces the file. Throws Failure when it cannot be written, as do the others.
  CsvWriter(const std::filesystem::path& file, const std::vector<std::string>& names);
  void write(double time, const std::vector<Cell>& row);
  void close();

 private:
  [[noreturn]] void fail() const;

  std::filesystem::path file;
  std::ofstream stream;
  std::string line;  // kept for its memory
  long long flushed = 0;
};
