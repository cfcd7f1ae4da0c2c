#include "tables/csv_lines.h"

#include <algorithm>
#include <tuple>

#include "ending/failure.h"
#include "words/text.h"

namespace {

constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";

bool isSeparator(char character) {
  return character == ',' || character == ';' || character == '\t';
}

std::string_view separatorName(char separator) {
  return separator == ';' ? "semicolon" : separator == '\t' ? "tab" : "comma";
}

}  // namespace

void CsvLines::add(std::string_view more) {
  text.erase(0, position);
  searched -= std::min(searched, position);
  position = 0;
  text += more;
}

bool CsvLines::next(std::vector<CsvCell>& cells) {
  do {
    const auto before = std::tuple(position, line, nextLine, between);
    line = nextLine;
    searched =
        ended ? position : std::min(text.find('\n', std::max(searched, position)), text.size());
    if (searched == text.size() || !readLine(cells)) {
      std::tie(position, line, nextLine, between) = before;
      searched = text.size();
      return false;
    }
  } while (cells.size() == 1 && cells[0].text.empty() && !cells[0].quoted);
  return true;
}

bool CsvLines::readLine(std::vector<CsvCell>& cells) {
  if (nextLine == 1 && text.starts_with(byteOrderMark)) position = byteOrderMark.size();
  ++nextLine;
  cells.clear();
  if (between == '\0') skipBlankLine();
  while (true) {
    CsvCell& cell = cells.emplace_back();
    readCell(cell, cells.size());
    if (between == '\0' && position < text.size() && isSeparator(text[position]))
      between = text[position];
    if (between == '\0' || !at(between)) break;
    ++position;
  }
  if (at('\r')) ++position;
  if (position == text.size()) return ended;
  if (!at('\n'))
    fail(cells.size(),
         "expected a " + std::string(separatorName(between)) + " or the end of the line");
  ++position;
  return true;
}

void CsvLines::readCell(CsvCell& cell, std::size_t column) {
  skipBlanks();
  if (at('"')) return readQuoted(cell, column);
  const std::string ends = between == '\0' ? ",;\t\r\n" : std::string("\r\n") + between;
  const std::size_t end = std::min(text.find_first_of(ends, position), text.size());
  cell.text = text.substr(position, end - position);
  cell.text.erase(cell.text.find_last_not_of(" \t") + 1);
  position = end;
}

void CsvLines::readQuoted(CsvCell& cell, std::size_t column) {
  cell.quoted = true;
  do {
    const std::size_t begin = position + 1;
    const std::size_t quote = text.find('"', begin);
    if (quote == std::string::npos && ended) fail(column, "a quote is not closed");
    if (quote == std::string::npos) {
      position = text.size();
      return;
    }
    cell.text.append(text, begin, quote - begin);
    position = quote + 1;
    if (at('"')) cell.text += '"';
  } while (at('"'));
  nextLine += static_cast<std::size_t>(std::ranges::count(cell.text, '\n'));
  skipBlanks();
}

void CsvLines::skipBlanks() {
  const char* const blanks = between == ',' || between == ';' ? " \t" : " ";
  position = std::min(text.find_first_not_of(blanks, position), text.size());
}

// In front of the first line a tab separates nothing.
void CsvLines::skipBlankLine() {
  const std::size_t end = std::min(text.find_first_not_of(" \t", position), text.size());
  if (end == text.size() || text[end] == '\r' || text[end] == '\n') position = end;
}

std::string CsvLines::place(std::size_t column) const {
  return placeInTable(name, line, column);
}

void CsvLines::fail(std::size_t column, const std::string& problem) const {
  throw Failure(place(column) + ": " + problem);
}

void CsvLines::requireCells(const std::vector<CsvCell>& cells, std::size_t expected) const {
  if (cells.size() != expected)
    fail(std::min(cells.size(), expected) + 1, "found " + counted(std::ssize(cells), "cell") +
                                                   " in the line, expected " +
                                                   std::to_string(expected) + " as in the header");
}

std::string placeInTable(const std::string& file, std::size_t line, std::size_t column) {
  return file + ", line " + std::to_string(line) + ", column " + std::to_string(column);
}

std::string shownCell(const std::string& cell) {
  constexpr std::size_t longest = 40;
  return "'" + printable(std::string_view(cell).substr(0, longest)) +
         (cell.size() > longest ? "..." : "") + "'";
}
