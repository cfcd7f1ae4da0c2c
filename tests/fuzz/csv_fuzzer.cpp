// Whatever the input file holds: what parseCsv lets through is a table that can be simulated with.
#include <algorithm>
#include <cmath>

#include "fuzz.h"
#include "tables/csv_reader.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  readOrRefuse(data, size, [](std::string_view text) {
    const CsvTable table = parseCsv(text, "fuzzed.csv");
    require(!table.times.empty(), "a table has a row");
    require(std::is_sorted(table.times.begin(), table.times.end()), "times never decrease");
    require(table.rows.size() == table.times.size() && table.rowLines.size() == table.times.size(),
            "each time has a row and a line");
    for (const std::vector<double>& row : table.rows) {
      require(row.size() == table.names.size(), "each row has a cell per name");
      for (const double cell : row) require(std::isfinite(cell), "each cell is finite");
    }
    for (const double time : table.times) require(std::isfinite(time), "each time is finite");
    // Lines are counted for messages; a quoted name may hold line breaks.
    const auto lines = static_cast<std::size_t>(std::ranges::count(text, '\n')) + 1;
    std::size_t last = table.headerLine;
    require(last > 0, "lines count from 1");
    for (const std::size_t line : table.rowLines) {
      require(line > last && line <= lines, "rows stand below each other within the file");
      last = line;
    }
  });
  return 0;
}
