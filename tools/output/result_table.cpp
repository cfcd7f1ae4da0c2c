#include "output/result_table.h"

#include <chrono>
#include <unordered_set>
#include <utility>

#include "ending/failure.h"
#include "files/at_start.h"
#include "words/numbers.h"
#include "words/text.h"

namespace {

long long secondsNow() {
  using namespace std::chrono;
  return duration_cast<seconds>(steady_clock::now().time_since_epoch()).count();
}

// Not for two columns of one name: readers of the table would take the first for both.
SafeFile fileFor(const std::filesystem::path& table, const std::vector<std::string>& columns) {
  std::unordered_set<std::string_view> names;
  for (const std::string& name : columns)
    if (!names.insert(name).second)
      throw Failure("the result would have two columns " + inQuotes(name) +
                    ", expected other variables by --output-variable");
  if (isStandardOutput(table)) return {nameOfTable(table), standardOutputForResult()};
  return SafeFile(table);
}

}  // namespace

std::string nameOfTable(const std::filesystem::path& table) {
  return isStandardOutput(table) ? "the standard output" : table.string();
}

ResultTable::ResultTable(const std::filesystem::path& given,
                         const std::vector<std::string>& columns, std::string name)
    : target(given), rowName(std::move(name)), file(fileFor(given, columns)), looked(secondsNow()) {
  for (const std::string& column : columns) add(std::string_view(column));
  rows = std::exchange(row, {}) + '\n';
}

void ResultTable::addText(std::string_view cell) {
  if (!row.empty()) row += ',';
  row += cell;
}

void ResultTable::add(std::string_view text) {
  addText("\"");
  for (const char character : text) {
    if (character == '"') row += '"';
    row += character;
  }
  row += '"';
}

void ResultTable::add(const Cell& cell) {
  if (const double* const number = std::get_if<double>(&cell)) {
    add(*number);
  } else {
    add(std::string_view(std::get<std::string>(cell)));
  }
}

void ResultTable::endRow() {
  constexpr std::size_t enough = 1 << 16;
  const auto busy = atForcedEnd.busy();
  lastWaiting = row.substr(0, row.find(','));
  rows += row;
  rows += '\n';
  row.clear();
  if (rows.size() >= enough || isLate()) write();
}

bool ResultTable::isLate() {
  const long long now = secondsNow();
  if (std::exchange(looked, now) == now) return false;
  file.requireReader();
  return !rows.empty();
}

void ResultTable::writeLateRows() {
  if (isLate()) flush();
}

void ResultTable::flush() {
  const auto busy = atForcedEnd.busy();
  write();
}

void ResultTable::write() {
  if (rows.empty()) return;
  file.write(std::exchange(rows, {}));
  last = lastWaiting;
}

std::string ResultTable::keep() {
  const auto busy = atForcedEnd.busy();
  return keeps.exchange(false) ? keepWritten() : "";
}

std::string ResultTable::keepWritten() {
  try {
    write();
  } catch (const std::exception&) {  // then the table ends with the rows before
  }
  if (last.empty()) return {};
  try {
    file.commit();
  } catch (const std::exception& problem) {
    return problem.what();
  }
  if (isStandardOutput(target)) return {};
  return nameOfTable(target) + " has the rows up to " + rowName + last;
}

void ResultTable::close() {
  flush();
  keeps = false;
  file.commit();
}
