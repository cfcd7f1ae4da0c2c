#include "output/csv_writer.h"

#include <string_view>

CsvWriter::CsvWriter(const std::filesystem::path& target, const std::vector<std::string>& names)
    : rows(target) {
  rows.add(std::string_view("time"));
  for (const std::string& name : names) rows.add(std::string_view(name));
  rows.endRow();
}

void CsvWriter::write(double time, const std::vector<Cell>& row) {
  rows.add(time);
  for (const Cell& cell : row) rows.add(cell);
  given = time;
  if (rows.endRow()) written = given;
}

void CsvWriter::flush() {
  if (rows.flush()) written = given;
}

void CsvWriter::close() {
  flush();
  rows.close();
}
