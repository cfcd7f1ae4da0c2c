#include "tables/run_table.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <unordered_set>
#include <utility>

#include "ending/failure.h"
#include "ending/interrupts.h"
#include "files/at_start.h"
#include "files/file_content.h"
#include "loaded_fmu/variable_values.h"
#include "words/numbers.h"
#include "words/text.h"

namespace {

// How long a signal that came to another thread may go unnoticed.
constexpr int milliseconds = 100;

}  // namespace

RunTable::RunTable(const std::filesystem::path& file, const VariableNames& known)
    : names(known), name(file == "-" ? "stdin" : file.string()), lines(name) {
  std::error_code unknown;
  if (file != "-" && std::filesystem::is_regular_file(fromStart(file), unknown)) {
    lines.add(fileContent(file));
    lines.end();
    readHeader();
    checkRows();
    return;
  }
  descriptor =
      file == "-" ? standardInputForRuns() : open(fromStart(file).c_str(), O_RDONLY | O_CLOEXEC);
  if (descriptor < 0) throw Failure("cannot read " + name + ": " + std::strerror(errno));
  readHeader();
}

RunTable::~RunTable() {
  if (descriptor >= 0) close(descriptor);
}

void RunTable::readHeader() {
  nowWaitingFor("the header of the runs");
  while (!take(milliseconds))
    if (interrupted() != 0) throw Failure("the runs were not read to their header");
  if (!taken) throw Failure(name + " is empty, expected a header line");
  taken = false;
  if (lines.separator() == ';')  // between which numbers may have a decimal comma
    lines.fail(1, "the cells have semicolons between them, expected commas or tabs");
  headerLine = lines.lineNumber();
  std::unordered_set<const ScalarVariable*> seen;
  for (std::size_t i = 0; i < cells.size(); ++i) {
    const std::string& wanted = cells[i].text;
    const std::string place = placeInTable(name, headerLine, i + 1);
    const bool isNumber = wanted == "run" && !names.has(wanted);
    const ScalarVariable* const variable = isNumber ? nullptr : &names.findSettable(wanted, place);
    if (isNumber ? numberColumn.has_value() : !seen.insert(variable).second)
      throw Failure(place + ": '" + printable(wanted) + "' has a column already");
    if (isNumber) {
      numberColumn = i;
    } else {
      columns.push_back(variable);
    }
  }
}

void RunTable::checkRows() {
  nowWaitingFor("the runs to be read");
  const CsvLines all = lines;
  RunRow row;
  std::unordered_set<long long> numbers;
  while (next(row))  // without a column of their own the numbers are counted
    if (numberColumn && !numbers.insert(row.number).second)
      lines.fail(*numberColumn + 1, "there is another run " + std::to_string(row.number));
  if (interrupted() != 0) throw Failure(name + " was not read to its end");
  if (counted == 0) throw Failure(name + " has no lines behind the header, expected at least one");
  rows = std::exchange(counted, 0);
  lines = all;
}

bool RunTable::take(int patience) {
  if (taken || (taken = lines.next(cells)) || lines.haveEnded()) return true;
  pollfd stream = {descriptor, POLLIN, 0};
  if (poll(&stream, 1, patience) <= 0) return false;
  std::array<char, 1 << 16> piece;
  const ssize_t length = read(descriptor, piece.data(), piece.size());
  if (length < 0 && (errno == EINTR || errno == EAGAIN)) return false;
  if (length < 0) throw Failure("cannot read " + name + ": " + std::strerror(errno));
  lines.add({piece.data(), static_cast<std::size_t>(length)});
  if (length == 0) lines.end();
  taken = lines.next(cells);
  return taken || lines.haveEnded();
}

bool RunTable::next(RunRow& row) {
  while (interrupted() == 0) {
    if (!take(milliseconds)) continue;
    if (!taken) return false;
    taken = false;
    row = parsed();
    ++counted;
    return true;
  }
  return false;
}

RunRow RunTable::parsed() const {
  lines.requireCells(cells, columns.size() + (numberColumn ? 1 : 0));
  RunRow row{counted + 1, {}};
  row.values.reserve(columns.size());
  for (std::size_t i = 0; i < cells.size(); ++i) {
    const CsvCell& cell = cells[i];
    if (numberColumn == i) {
      row.number = numberIn(cell, i + 1);
      continue;
    }
    const ScalarVariable& variable = *columns[row.values.size()];
    if (cell.text.empty() && !(cell.quoted && variable.type == "String"))
      lines.fail(i + 1, "the cell is empty, expected a value for '" + printable(variable.name) +
                            (variable.type == "String" ? "'; \"\" is an empty text" : "'"));
    try {
      row.values.push_back(parseValue(variable, cell.text));
    } catch (const Failure& failure) {
      lines.fail(i + 1, failure.what());
    }
  }
  return row;
}

long long RunTable::numberIn(const CsvCell& cell, std::size_t column) const {
  const std::optional<long long> number = parseWhole<long long>(cell.text);
  if (!number)
    lines.fail(column, shownCell(cell.text) + " is no number of a run, expected a whole number");
  return *number;
}

std::string RunTable::placeOf(std::size_t variable) const {
  const std::size_t shift = numberColumn && *numberColumn <= variable ? 1 : 0;
  return placeInTable(name, headerLine, variable + shift + 1);
}
