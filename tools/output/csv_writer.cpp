#include "output/csv_writer.h"

#include <chrono>
#include <utility>

#include "base/standard_streams.h"
#include "base/text.h"

namespace {

void appendQuoted(std::string& line, const std::string& text) {
  line += '"';
  for (const char character : text) {
    if (character == '"') line += '"';
    line += character;
  }
  line += '"';
}

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

CsvWriter::CsvWriter(const std::filesystem::path& target, const std::vector<std::string>& names)
    : file(fileOf(target)), lines("\"time\""), flushed(secondsNow()) {
  for (const std::string& name : names) {
    lines += ',';
    appendQuoted(lines, name);
  }
  lines += '\n';
}

void CsvWriter::write(double time, const std::vector<Cell>& row) {
  lines += numberText(time);
  for (const Cell& cell : row) {
    lines += ',';
    if (const double* const number = std::get_if<double>(&cell)) {
      lines += numberText(*number);
    } else {
      appendQuoted(lines, std::get<std::string>(cell));
    }
  }
  lines += '\n';
  given = time;
  constexpr std::size_t enough = 1 << 16;
  if (lines.size() >= enough || secondsNow() != flushed) flush();
}

void CsvWriter::close() {
  flush();
  file.commit();
}

void CsvWriter::flush() {
  if (lines.empty()) return;
  const std::string waiting = std::exchange(lines, {});
  flushed = secondsNow();
  file.write(waiting);
  written = given;
}
