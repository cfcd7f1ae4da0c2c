// The runs of a batch as a table: one header line with the names of inputs and parameters, one row
// with their values per run. A column "run", unless the FMU has a variable of that name, numbers
// the runs, which else count from 1. A file is read and checked as a whole before the first run;
// what comes through a pipe is read as it comes.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "loaded_fmu/variable_names.h"
#include "tables/csv_lines.h"

struct RunRow {
  long long number = 0;
  std::vector<Cell> values;  // one per variable
};

class RunTable {
 public:
  // "-" is stdin, after keepStandardInputForRuns(). Throws Failure with line and column for what is
  // no such table, as far as it is there; waits for the header. `names` must outlive the object.
  RunTable(const std::filesystem::path& file, const VariableNames& names);
  ~RunTable();
  RunTable(const RunTable&) = delete;
  RunTable& operator=(const RunTable&) = delete;

  // Whether next() has an answer without waiting for anybody. Throws Failure as next() does.
  bool ready() { return take(0); }
  // The row of the next run, for which it waits; false at the end, and when the user interrupts.
  bool next(RunRow& row);

  const std::vector<const ScalarVariable*>& variables() const { return columns; }
  // "FILE, line 1, column 2": where a variable stands in the header.
  std::string placeOf(std::size_t variable) const;
  // How many runs there are, if that is known before they are over.
  std::optional<long long> count() const { return rows; }

 private:
  void readHeader();
  // All of them, before they are given.
  void checkRows();
  // Takes the next line from the text that is there, or else from what comes within so many
  // milliseconds; false when it is not all there by then.
  bool take(int patience);
  RunRow parsed() const;
  long long numberIn(const CsvCell& cell, std::size_t column) const;

  const VariableNames& names;
  std::string name;     // for messages
  int descriptor = -1;  // of what comes as it comes
  CsvLines lines;
  std::size_t headerLine = 0;
  std::vector<const ScalarVariable*> columns;  // without the one of the numbers
  std::optional<std::size_t> numberColumn;     // where it stands
  std::optional<long long> rows;
  long long counted = 0;       // rows that next() gave
  std::vector<CsvCell> cells;  // of a line that waits for next(), if `taken`
  bool taken = false;
};
