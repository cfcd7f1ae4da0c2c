#include "importer/csv_reader.h"

#include <cerrno>
#include <cmath>
#include <cstring>
#include <fstream>
#include <optional>
#include <sstream>

#include "base/failure.h"
#include "base/text.h"
#include "importer/csv_lines.h"

namespace {

double numberIn(const CsvCell& cell, const CsvLines& lines, std::size_t column) {
  if (cell.text.empty()) lines.fail(column, "the cell is empty, expected a number");
  const std::optional<double> number = parseNumber(cell.text);
  if (!number) lines.fail(column, shownCell(cell.text) + " is not a number");
  if (!std::isfinite(*number))
    lines.fail(column, shownCell(cell.text) + " cannot be used, expected a finite number");
  return *number;
}

void appendRow(CsvTable& table, const std::vector<CsvCell>& cells, const CsvLines& lines) {
  lines.requireCells(cells, table.names.size() + 1);
  const double time = numberIn(cells[0], lines, 1);
  if (!table.times.empty() && time < table.times.back())
    lines.fail(1, "time " + numberText(time) + " comes after " + numberText(table.times.back()) +
                      ", expected times that never decrease");
  std::vector<double> row;
  row.reserve(table.names.size());
  for (std::size_t i = 1; i < cells.size(); ++i) row.push_back(numberIn(cells[i], lines, i + 1));
  table.times.push_back(time);
  table.rowLines.push_back(lines.lineNumber());
  table.rows.push_back(std::move(row));
}

}  // namespace

std::string CsvTable::place(std::size_t line, std::size_t column) const {
  return placeInTable(file, line, column);
}

CsvTable parseCsv(std::string_view text, std::string file) {
  CsvTable table;
  table.file = std::move(file);
  CsvLines lines(table.file);
  lines.add(text);
  lines.end();
  std::vector<CsvCell> cells;
  if (!lines.next(cells)) throw Failure(table.file + " is empty, expected a header line");
  if (cells[0].text != "time")
    lines.fail(1, "expected a comma-separated header that begins with \"time\", found " +
                      shownCell(cells[0].text));
  table.headerLine = lines.lineNumber();
  for (std::size_t i = 1; i < cells.size(); ++i) table.names.push_back(cells[i].text);
  while (lines.next(cells)) appendRow(table, cells, lines);
  if (table.times.empty())
    throw Failure(table.file + " has no lines behind the header, expected at least one");
  return table;
}

CsvTable readCsv(const std::filesystem::path& file) {
  std::ifstream stream(file, std::ios::binary);
  std::ostringstream text;
  if (!stream || !(text << stream.rdbuf()).good()) {
    // An empty file cannot be copied into a stream either.
    if (stream.is_open() && std::filesystem::is_regular_file(file))
      return parseCsv(text.view(), file.string());
    throw Failure("cannot read " + file.string() + ": " + std::strerror(errno));
  }
  return parseCsv(text.view(), file.string());
}
