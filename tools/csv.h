// Tables of numbers over time as CSV: comma separated, one header line of names, the first column
// "time". What is read may come from any tool (a byte order mark, CRLF, quotes, blanks around a
// cell and empty lines are all right); what is written is the plainest form.
#pragma once

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

struct CsvTable {
  // "FILE, line 3, column 2", for a message about what stands there; columns count from 1, the
  // time.
  std::string place(std::size_t line, std::size_t column) const;

  std::string file;                       // as error messages name it
  std::vector<std::string> names;         // of the columns behind the time
  std::vector<double> times;              // finite and never decreasing; at least one
  std::vector<std::vector<double>> rows;  // one per time with one finite number per name
  std::size_t headerLine = 0;             // where they stand in the file
  std::vector<std::size_t> rowLines;
};

// Throws Failure with line and column for a text that is no such table. `file` is for the message.
CsvTable parseCsv(std::string_view text, std::string file);
CsvTable readCsv(const std::filesystem::path& file);

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
