#include "output/row_file.h"

#include <chrono>
#include <utility>

#include "base/standard_streams.h"
#include "base/text.h"

namespace {

long long secondsNow() {
  using namespace std::chrono;
  return duration_cast<seconds>(steady_clock::now().time_since_epoch()).count();
}

SafeFile fileOf(const std::filesystem::path& table) {
  if (isStandardOutput(table)) return {nameOfTable(table), standardOutputForResult()};
  return SafeFile(table);
}

}  // namespace

std::string nameOfTable(const std::filesystem::path& table) {
  return isStandardOutput(table) ? "the standard output" : table.string();
}

RowFile::RowFile(const std::filesystem::path& target)
    : file(fileOf(target)), flushed(secondsNow()), looked(flushed) {}

void RowFile::separate() {
  if (rowBegun) rows += ',';
  rowBegun = true;
}

void RowFile::add(double number) {
  separate();
  rows += numberText(number);
}

void RowFile::add(long long number) {
  separate();
  rows += std::to_string(number);
}

void RowFile::add(std::string_view text) {
  separate();
  rows += '"';
  for (const char character : text) {
    if (character == '"') rows += '"';
    rows += character;
  }
  rows += '"';
}

void RowFile::add(const Cell& cell) {
  if (const double* const number = std::get_if<double>(&cell)) {
    add(*number);
  } else {
    add(std::string_view(std::get<std::string>(cell)));
  }
}

void RowFile::addEmpty() {
  separate();
}

bool RowFile::endRow() {
  rows += '\n';
  rowBegun = false;
  constexpr std::size_t enough = 1 << 16;
  return (rows.size() >= enough || isLate()) && flush();
}

bool RowFile::isLate() {
  const long long now = secondsNow();
  if (std::exchange(looked, now) != now) file.requireReader();
  return !rows.empty() && now != flushed;
}

void RowFile::close() {
  flush();
  file.commit();
}

bool RowFile::flush() {
  if (rows.empty()) return false;
  const std::string waiting = std::exchange(rows, {});
  flushed = secondsNow();
  file.write(waiting);
  return true;
}
