#include "output/csv_writer.h"

#include <array>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <cstring>

#include "base/failure.h"

namespace {

void appendQuoted(std::string& line, const std::string& text) {
  line += '"';
  for (const char character : text) {
    if (character == '"') line += '"';
    line += character;
  }
  line += '"';
}

// As printf's "%.16g", whatever the locale.
void appendNumber(std::string& line, double value) {
  std::array<char, 32> text;
  line.append(text.data(), std::to_chars(text.data(), text.data() + text.size(), value,
                                         std::chars_format::general, 16)
                               .ptr);
}

long long secondsNow() {
  using namespace std::chrono;
  return duration_cast<seconds>(steady_clock::now().time_since_epoch()).count();
}

}  // namespace

CsvWriter::CsvWriter(const std::filesystem::path& target, const std::vector<std::string>& names)
    : file(target), stream(target, std::ios::binary), flushed(secondsNow()) {
  line = "\"time\"";
  for (const std::string& name : names) {
    line += ',';
    appendQuoted(line, name);
  }
  line += '\n';
  if (!stream.write(line.data(), static_cast<std::streamsize>(line.size()))) fail();
}

void CsvWriter::write(double time, const std::vector<Cell>& row) {
  line.clear();
  appendNumber(line, time);
  for (const Cell& cell : row) {
    line += ',';
    if (const double* const number = std::get_if<double>(&cell)) {
      appendNumber(line, *number);
    } else {
      appendQuoted(line, std::get<std::string>(cell));
    }
  }
  line += '\n';
  stream.write(line.data(), static_cast<std::streamsize>(line.size()));
  if (const long long now = secondsNow(); now != flushed) {
    stream.flush();
    flushed = now;
  }
  if (!stream) fail();
}

void CsvWriter::close() {
  stream.close();
  if (!stream) fail();
}

void CsvWriter::fail() const {
  throw Failure("cannot write " + file.string() + ": " + std::strerror(errno));
}
