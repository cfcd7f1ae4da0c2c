// Results as tables of values over time: one header line of names, the first column "time".
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "output/row_file.h"

class CsvWriter {
 public:
  // As RowFile, which the table is.
  CsvWriter(const std::filesystem::path& file, const std::vector<std::string>& names);
  void write(double time, const std::vector<Cell>& row);
  void flush();
  void close();

  // Whether it appears on a terminal.
  bool isSeen() const { return rows.isSeen(); }

  // The time of the last row that was written, and not only given.
  std::optional<double> lastTime() const { return written; }

 private:
  RowFile rows;
  std::optional<double> given, written;
};
