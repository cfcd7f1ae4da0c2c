// Lines of cells, in whatever pieces they come.
#include "tables/csv_lines.h"

#include <gtest/gtest.h>

#include "ending/failure.h"

namespace {

// Each line as [cell|"quoted"|...] behind its number; what is wrong ends them.
std::string linesIn(std::string_view text, std::size_t pieceSize) {
  CsvLines lines("t");
  std::vector<CsvCell> cells;
  std::string all;
  const auto take = [&] {
    while (lines.next(cells)) {
      all += std::to_string(lines.lineNumber()) + "[";
      for (const CsvCell& cell : cells) all += (cell.quoted ? "\"" : "") + cell.text + "|";
      all += "]";
    }
  };
  try {
    for (; !text.empty(); text.remove_prefix(std::min(pieceSize, text.size()))) {
      lines.add(text.substr(0, pieceSize));
      take();
    }
    lines.end();
    take();
  } catch (const Failure& failure) {
    all += failure.what();
  }
  return all;
}

TEST(CsvLines, AreTheSameInAllPieces) {
  for (const auto& [text, expected] : std::vector<std::pair<std::string, std::string>>{
           {"a,b\n1,2\n", "1[a|b|]2[1|2|]"},
           {"\xEF\xBB\xBF\"a\nb\",c\r\n\r\n 1 , \"x \"\"y\"\"\n\" \n",
            "1[\"a\nb|c|]4[1|\"x \"y\"\n|]"},
           {"a;b,c\n\"1;\";\n3;", "1[a|b,c|]2[\"1;||]3[3||]"},
           {" \t \n\ta\t\"b\"\n", "2[|a|\"b|]"},
           {"a,5\" tall, \"b\"\n", "1[a|5\" tall|\"b|]"},
           {"a\n\"b\"c\"\nd\n",
            "1[a|]t, line 2, column 1: expected a comma or the end of the line"},
           {"a\nb,\"c\nd\n\ne", "1[a|]t, line 2, column 2: a quote is not closed"},
           {"\n\n\n", ""}}) {
    for (std::size_t size = 1; size <= text.size(); ++size)
      EXPECT_EQ(linesIn(text, size), expected) << "in pieces of " << size;
  }
}

TEST(CsvLines, AreThereWithTheirLastCharacter) {
  CsvLines lines("t");
  std::vector<CsvCell> cells;
  lines.add("a,b\n\"x\n");
  EXPECT_TRUE(lines.next(cells));
  EXPECT_FALSE(lines.next(cells));
  lines.add("\",2");
  EXPECT_FALSE(lines.next(cells));
  lines.add("\n");
  EXPECT_TRUE(lines.next(cells));
  EXPECT_EQ(cells[0].text + cells[1].text, "x\n2");
}

}  // namespace
