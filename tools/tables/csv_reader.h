// Inputs as tables of numbers over time: one header line of names, the first column "time". They
// may come from any tool, see csv_lines.h. Between semicolons numbers may have a decimal comma; a
// number that could mean two things is none.
#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

struct CsvTable {
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
