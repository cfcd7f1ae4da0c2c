// A separated text as lines of cells, whichever tool it comes from: a byte order mark, CRLF,
// quotes, blanks around a cell and empty lines are all right. What stands behind the first cell of
// the first line, a comma, a semicolon or a tab, separates all cells. The text may come in pieces.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

struct CsvCell {
  std::string text;
  bool quoted = false;  // what tells an empty text from no value at all
};

class CsvLines {
 public:
  // `file` is for messages.
  explicit CsvLines(std::string file) : name(std::move(file)) {}

  // What comes behind the text so far.
  void add(std::string_view text);
  // No more text comes, so that a line may end without an end of line.
  void end() { ended = true; }
  bool haveEnded() const { return ended; }

  // The cells of the next line that is not empty; false when that is not all there. Throws Failure
  // for what is no line of cells.
  bool next(std::vector<CsvCell>& cells);
  // Of the line that next() gave last; lines count from 1.
  std::size_t lineNumber() const { return line; }
  // What separates the cells; known with the first line.
  char separator() const { return between; }

  // "FILE, line 3, column 2" for a column of that line; columns count from 1.
  std::string place(std::size_t column) const;
  // Throws Failure for what stands there.
  [[noreturn]] void fail(std::size_t column, const std::string& problem) const;
  // For a line that has another number of cells than the header.
  void requireCells(const std::vector<CsvCell>& cells, std::size_t expected) const;

 private:
  // False when the text ends before the line does. An end of line within quotes is none.
  bool readLine(std::vector<CsvCell>& cells);
  void readCell(CsvCell& cell, std::size_t column);
  void readQuoted(CsvCell& cell, std::size_t column);
  void skipBlanks();
  void skipBlankLine();
  bool at(char character) const { return position < text.size() && text[position] == character; }

  std::string name;
  std::string text;
  std::size_t position = 0;
  char between = '\0';       // the cells; none as long as it is not known
  std::size_t searched = 0;  // before here is no end of the next line: it is not read anew in vain
  std::size_t line = 0;
  std::size_t nextLine = 1;
  bool ended = false;
};

// "FILE, line 3, column 2"
std::string placeInTable(const std::string& file, std::size_t line, std::size_t column);

// A foreign cell in a message, at most so long that the sentence stays one.
std::string shownCell(const std::string& cell);
