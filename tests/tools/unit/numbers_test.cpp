// Numbers as texts and back, and texts as a terminal shows them.
#include "words/numbers.h"

#include <gtest/gtest.h>

#include <clocale>
#include <cmath>
#include <cstdlib>
#include <limits>

#include "words/layout.h"
#include "words/text.h"

namespace {

TEST(Numbers, AreTheShortestTextsThatReadBackAsTheSame) {
  for (const std::string text :
       {"0.1", "0.30000000000000004", "0.3333333333333333", "-0", "1e+300", "9007199254740991",
        "123456789.12345679", "5e-324", "1.7976931348623157e+308", "inf"}) {
    const double value = std::strtod(text.c_str(), nullptr);
    EXPECT_EQ(numberText(value), text);
    const auto read = parseNumber(text);
    ASSERT_TRUE(read) << text;
    EXPECT_EQ(std::pair(*read, std::signbit(*read)), std::pair(value, std::signbit(value))) << text;
  }
}

TEST(Numbers, AreReadAsXmlAndCsvWriteThem) {
  for (const std::string text :
       {" \t1.5", "+1", ".5", "5.", "1E3", "1e-400", "-1e-400", "4e-324"}) {
    const double value = std::strtod(text.c_str(), nullptr);
    std::setlocale(LC_ALL, "de_DE.UTF-8");  // where it exists, and then with a comma
    EXPECT_EQ(parseNumber(text + "\r\n"), value) << text;
    std::setlocale(LC_ALL, "C");
  }
  for (const char* text : {"", " ", "+", "-", "+-1", "-+1", "--1", "1,5", "0x10", "1e", "1 2", "1f",
                           "1e999", "-1e999", "e5", "1.2.3"})
    EXPECT_FALSE(parseNumber(text)) << text;
  EXPECT_TRUE(std::isnan(parseNumber("nan").value()));
}

TEST(Numbers, AreWholeAsXmlHasThem) {
  EXPECT_EQ(parseWhole<int>(" +5\n"), 5);
  EXPECT_EQ(parseWhole<int>("-2147483648"), std::numeric_limits<int>::min());
  EXPECT_EQ(parseWhole<unsigned>("007"), 7u);
  for (const char* text : {"", "+", "+-1", "1.0", "1e1", "1 2", "0x1", "2147483648"})
    EXPECT_FALSE(parseWhole<int>(text)) << text;
  for (const char* text : {"+5", "-1", "4294967296"}) EXPECT_FALSE(parseWhole<unsigned>(text));
  EXPECT_EQ(parseBoolean(" true "), true);
  EXPECT_EQ(parseBoolean("0"), false);
  for (const char* text : {"", "True", "10", "yes"}) EXPECT_FALSE(parseBoolean(text)) << text;
}

TEST(Texts, PlayNoTricksOnATerminal) {
  EXPECT_EQ(printable("a\n\t\x1b[2J\x7f z"), "a   [2J  z");
  EXPECT_EQ(printable("\u0085\u009b\u2028\u202e\u2066\u2069"), "      ");
  EXPECT_EQ(printable("\u00a0\u2027\u202f\u2065\u206a"), "\u00a0\u2027\u202f\u2065\u206a");
  EXPECT_EQ(printable("a\xffz\xe2\x82"), "a\uFFFDz\uFFFD");
  EXPECT_EQ(shortened("Größe", 5), "Größe");
  EXPECT_EQ(shortened("Größen", 5), "Größ\u2026");
  EXPECT_EQ(inQuotes(std::string(201, 'x')), "'" + std::string(199, 'x') + "\u2026'");
  EXPECT_EQ(widthOf(sentence(std::string(5000, 'x'))), 600u);
  EXPECT_EQ(padded("ä", 3) + padded("ä", 3, true), "ä    ä");
  EXPECT_EQ(padded("long", 3), "long");
  EXPECT_EQ(counted(1, "run") + ", " + counted(0, "run"), "1 run, 0 runs");
}

}  // namespace
