#include "importer/csv_reader.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <fstream>
#include <optional>
#include <sstream>

#include "base/failure.h"
#include "base/text.h"

namespace {

// One line of the file at a time, and where we are in it.
class Reader {
 public:
  Reader(std::string_view remaining, const CsvTable& read) : text(remaining), table(read) {
    if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);
  }

  // The cells of the next line that is not empty; false at the end of the text.
  bool next(std::vector<std::string>& cells) {
    do {
      if (text.empty()) return false;
      line = nextLine;
      ++nextLine;
      cells.clear();
      do cells.push_back(cell(cells.size() + 1));
      while (separated());
      endLine(cells.size());
    } while (cells.size() == 1 && cells[0].empty());
    return true;
  }

  [[noreturn]] void fail(std::size_t column, const std::string& problem) const {
    throw Failure(table.place(line, column) + ": " + problem);
  }

  std::size_t lineNumber() const { return line; }

 private:
  void skipBlanks() { text.remove_prefix(std::min(text.find_first_not_of(" \t"), text.size())); }

  std::string cell(std::size_t column) {
    skipBlanks();
    if (text.starts_with('"')) return quoted(column);
    const std::string_view content = text.substr(0, text.find_first_of(",\r\n"));
    text.remove_prefix(content.size());
    return std::string(content.substr(0, content.find_last_not_of(" \t") + 1));
  }

  std::string quoted(std::size_t column) {
    std::string content;
    text.remove_prefix(1);
    while (true) {
      const std::size_t quote = text.find('"');
      if (quote == std::string_view::npos) fail(column, "a quote is not closed");
      for (const char character : text.substr(0, quote)) nextLine += character == '\n' ? 1 : 0;
      content += text.substr(0, quote);
      text.remove_prefix(quote + 1);
      if (!text.starts_with('"')) break;
      content += '"';
      text.remove_prefix(1);
    }
    skipBlanks();
    return content;
  }

  bool separated() {
    if (!text.starts_with(',')) return false;
    text.remove_prefix(1);
    return true;
  }

  void endLine(std::size_t column) {
    if (text.starts_with('\r')) text.remove_prefix(1);
    if (text.empty()) return;
    if (!text.starts_with('\n')) fail(column, "expected a comma or the end of the line");
    text.remove_prefix(1);
  }

  std::string_view text;
  const CsvTable& table;
  std::size_t line = 0;
  std::size_t nextLine = 1;
};

// A foreign cell in a message, at most so long that the sentence stays one.
std::string shown(const std::string& cell) {
  constexpr std::size_t longest = 40;
  return "'" + printable(std::string_view(cell).substr(0, longest)) +
         (cell.size() > longest ? "..." : "") + "'";
}

double numberIn(const std::string& cell, const Reader& reader, std::size_t column) {
  if (cell.empty()) reader.fail(column, "the cell is empty, expected a number");
  const std::optional<double> number = parseNumber(cell);
  if (!number) reader.fail(column, shown(cell) + " is not a number");
  if (!std::isfinite(*number))
    reader.fail(column, shown(cell) + " cannot be used, expected a finite number");
  return *number;
}

void appendRow(CsvTable& table, const std::vector<std::string>& cells, const Reader& reader) {
  const std::size_t expected = table.names.size() + 1;
  if (cells.size() != expected)
    reader.fail(std::min(cells.size(), expected) + 1,
                "found " + counted(std::ssize(cells), "cell") + " in the line, expected " +
                    std::to_string(expected) + " as in the header");
  const double time = numberIn(cells[0], reader, 1);
  if (!table.times.empty() && time < table.times.back())
    reader.fail(1, "time " + numberText(time) + " comes after " + numberText(table.times.back()) +
                       ", expected times that never decrease");
  std::vector<double> row;
  row.reserve(table.names.size());
  for (std::size_t i = 1; i < cells.size(); ++i) row.push_back(numberIn(cells[i], reader, i + 1));
  table.times.push_back(time);
  table.rowLines.push_back(reader.lineNumber());
  table.rows.push_back(std::move(row));
}

}  // namespace

std::string CsvTable::place(std::size_t line, std::size_t column) const {
  return file + ", line " + std::to_string(line) + ", column " + std::to_string(column);
}

CsvTable parseCsv(std::string_view text, std::string file) {
  CsvTable table;
  table.file = std::move(file);
  Reader reader(text, table);
  std::vector<std::string> cells;
  if (!reader.next(cells)) throw Failure(table.file + " is empty, expected a header line");
  if (cells[0] != "time")
    reader.fail(
        1, "expected a comma-separated header that begins with \"time\", found " + shown(cells[0]));
  table.headerLine = reader.lineNumber();
  table.names.assign(cells.begin() + 1, cells.end());
  while (reader.next(cells)) appendRow(table, cells, reader);
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
