#include "tables/csv_reader.h"

#include <strings.h>

#include <algorithm>
#include <cmath>
#include <optional>

#include "ending/failure.h"
#include "files/file_content.h"
#include "tables/csv_lines.h"
#include "words/numbers.h"

namespace {

// Reads the numbers of a table, which all have the same decimal sign. Only between semicolons it
// may be a comma.
class Numbers {
 public:
  explicit Numbers(const CsvLines& read) : lines(read) {}

  double read(const CsvCell& cell, std::size_t column);
  // Throws Failure when no number has told that the sign does not group thousands.
  void requireOneMeaning() const {
    if (!certain && !doubt.empty()) throw Failure(doubt);
  }

 private:
  std::string withPoint(const std::string& cell, std::size_t column);

  const CsvLines& lines;
  char sign = '\0';  // none as long as it has not been seen
  bool certain = false;
  std::string doubt;  // about the first number that may be a thousand times larger
};

bool mayGroupThousands(const std::string& cell, std::size_t sign) {
  const std::size_t first = cell.find_first_not_of("+-");
  return sign > first && sign - first <= 3 && cell[first] != '0' && cell.size() - sign == 4 &&
         cell.find_first_not_of("0123456789", sign + 1) == std::string::npos;
}

// The cell as it would be with a decimal point.
std::string Numbers::withPoint(const std::string& cell, std::size_t column) {
  std::string text(trimmed(cell));
  const std::size_t found = text.find_first_of(".,");
  if (lines.separator() != ';' || found == std::string::npos) return text;
  if (sign == '\0') sign = text[found];
  if (text.find(sign == ',' ? '.' : ',') != std::string::npos)
    lines.fail(column, shownCell(cell) +
                           " mixes decimal signs, expected points or commas in all "
                           "numbers of the table");
  if (!mayGroupThousands(text, found)) {
    certain = true;
  } else if (doubt.empty()) {
    const std::string thousands = text.substr(0, found) + text.substr(found + 1);
    doubt = lines.place(column) + ": " + shownCell(cell) + " may mean " + thousands +
            ", and no number of the table tells; write " + thousands + " or " + text + "0";
  }
  std::ranges::replace(text, ',', '.');
  return text;
}

double Numbers::read(const CsvCell& cell, std::size_t column) {
  if (cell.text.empty()) lines.fail(column, "the cell is empty, expected a number");
  const std::optional<double> number = parseNumber(withPoint(cell.text, column));
  if (!number && lines.separator() != ';' && cell.text.find(',') != std::string::npos)
    lines.fail(column, shownCell(cell.text) +
                           " is not a number: a decimal comma needs semicolons between the cells");
  if (!number) lines.fail(column, shownCell(cell.text) + " is not a number");
  if (!std::isfinite(*number))
    lines.fail(column, shownCell(cell.text) + " cannot be used, expected a finite number");
  return *number;
}

void requireTime(const CsvCell& cell, const CsvLines& lines) {
  if (cell.text.size() == 4 && strcasecmp(cell.text.c_str(), "time") == 0) return;
  if (cell.text.empty())
    lines.fail(1,
               "the first column has no name, expected \"time\"; pandas writes its index there: "
               "to_csv(..., index=False) leaves it out, index_label=\"time\" names it");
  lines.fail(1,
             "expected a header that begins with \"time\", and commas, semicolons or tabs between "
             "the names, found " +
                 shownCell(cell.text));
}

void appendRow(CsvTable& table, const std::vector<CsvCell>& cells, const CsvLines& lines,
               Numbers& numbers) {
  lines.requireCells(cells, table.names.size() + 1);
  const double time = numbers.read(cells[0], 1);
  if (!table.times.empty() && time < table.times.back())
    lines.fail(1, "time " + numberText(time) + " comes after " + numberText(table.times.back()) +
                      ", expected times that never decrease");
  std::vector<double> row;
  row.reserve(table.names.size());
  for (std::size_t i = 1; i < cells.size(); ++i) row.push_back(numbers.read(cells[i], i + 1));
  table.times.push_back(time);
  table.rowLines.push_back(lines.lineNumber());
  table.rows.push_back(std::move(row));
}

}  // namespace

CsvTable parseCsv(std::string_view text, std::string file) {
  CsvTable table;
  table.file = std::move(file);
  CsvLines lines(table.file);
  lines.add(text);
  lines.end();
  std::vector<CsvCell> cells;
  if (!lines.next(cells)) throw Failure(table.file + " is empty, expected a header line");
  requireTime(cells[0], lines);
  table.headerLine = lines.lineNumber();
  for (std::size_t i = 1; i < cells.size(); ++i) table.names.push_back(cells[i].text);
  Numbers numbers(lines);
  while (lines.next(cells)) appendRow(table, cells, lines, numbers);
  numbers.requireOneMeaning();
  if (table.times.empty())
    throw Failure(table.file + " has no lines behind the header, expected at least one");
  return table;
}

CsvTable readCsv(const std::filesystem::path& file) {
  return parseCsv(fileContent(file), file.string());
}
