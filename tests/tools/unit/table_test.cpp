// Tables of inputs over time, from whichever tool they come.
#include <gtest/gtest.h>

#include <array>

#include "ending/failure.h"
#include "tables/csv_reader.h"

namespace {

using namespace std::string_literals;

std::string refusalOf(const std::string& text) {
  try {
    parseCsv(text, "in.csv");
    return "none";
  } catch (const Failure& failure) {
    return failure.what();
  }
}

std::string replaced(std::string text, const std::string& from, const std::string& to) {
  for (std::size_t at = 0; (at = text.find(from, at)) < text.size(); at += to.size())
    text.replace(at, from.size(), to);
  return text;
}

TEST(Table, IsTheSameHoweverItIsWritten) {
  const std::string plain = "time,voltage,load\n0,1,0\n1,12,0.5\n";
  const auto semicolons = replaced(plain, ",", ";");
  for (const auto& text :
       {plain, "\uFEFF" + plain, replaced(plain, "\n", "\r\n"), plain.substr(0, plain.size() - 1),
        "\n\n\"time\" , \"voltage\" ,load\n\n0,\"1\", 0\n \n +1.0e0,\t12.0 ,.5\n\n"s,
        "T" + semicolons.substr(1), replaced(semicolons, ".", ","),
        "\uFEFF\"TIME\"; voltage\t;load\n0;1,000;\" 0\"\n1;12;0,500\n"s,
        " \t\ntime\t\"voltage\" \tload\n0\t 1\t\"\t0\"\n\n1\t12 \t0.5\n"s}) {
    ASSERT_EQ(refusalOf(text), "none") << text;
    const CsvTable table = parseCsv(text, "in.csv");
    EXPECT_EQ(table.names, (std::vector<std::string>{"voltage", "load"})) << text;
    EXPECT_EQ(table.times, (std::vector<double>{0, 1})) << text;
    EXPECT_EQ(table.rows, (std::vector<std::vector<double>>{{1, 0}, {12, .5}})) << text;
  }
}

TEST(Table, IsRefusedWithThePlaceOfWhatIsWrong) {
  const std::string head = "time,voltage\n0,1\n";
  const auto semicolons = [](const std::string& first, const std::string& second) {
    return "time;voltage\n0;" + first + "\n1;" + second + "\n";
  };
  for (const auto& [text, reason] : std::vector<std::array<std::string, 2>>{
           {"", "in.csv is empty"},
           {"\uFEFF\r\n\n", "in.csv is empty"},
           {"time,voltage\n", "no lines behind"},
           {"voltage,time\n0,0\n", "line 1, column 1: expected a header that begins with \"time\""},
           {"time voltage\n0 0\n", "semicolons or tabs between the names, found 'time voltage'"},
           {",time,voltage\n0,0,0\n", "index=False"},
           {"time;voltage\n0,0\n", "line 2, column 2: found 1 cell in the line, expected 2"},
           {"time;voltage\n0;\"1\"2\n", "line 2, column 2: expected a semicolon or"},
           {semicolons("0,5", "0.5"), "line 3, column 2: '0.5' mixes"},
           {semicolons("1.5", "1,5"), "line 3, column 2: '1,5' mixes"},
           {semicolons("1", "1.234,5"), "'1.234,5' mixes"},
           {semicolons("1,234,567", "0"), "'1,234,567' is not a number"},
           {semicolons("7", "1,000"), "line 3, column 2: '1,000' may mean 1000, and no number"},
           {semicolons("7", "123,000"), "write 123000 or 123,0000"},
           {semicolons("-1.234", "\" +12.345 \""), "line 2, column 2: '-1.234' may"},
           {"time\tvoltage\n0\t0,5\n", "a decimal comma needs semicolons"},
           {head + "1,\"0,5\"\n", "a decimal comma needs semicolons"},
           {head + "1\n", "line 3, column 2: found 1 cell in the line"},
           {head + "1,2,3\n", "line 3, column 3: found 3 cells"},
           {head + "\n2,0\n1,0\n", "line 5, column 1: time 1 comes after 2"},
           {head + "1,\n", "line 3, column 2: the cell is empty"},
           {head + "1,0x10\n", "line 3, column 2: '0x10' is not a number"},
           {head + "\0"s, "line 3, column 2: found 1 cell"},
           {head + "1,nan\n", "line 3, column 2: 'nan' cannot be used"},
           {head + "-inf,1\n", "line 3, column 1: '-inf' cannot be used"},
           {head + "1,1e999\n", "'1e999' is not a number"},
           {head + "1,2\x1b[2J\n", "'2 [2J' is not a number"},
           {"\xFF\xFEt\0i\0m\0e\0,\0v\0\n\0"s, "expected a header that begins with \"time\""}})
    EXPECT_NE(refusalOf(text).find(reason), std::string::npos)
        << text << " gave: " << refusalOf(text) << "\nexpected: " << reason;
}

}  // namespace
