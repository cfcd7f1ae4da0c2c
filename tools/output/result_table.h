// Results as a comma-separated table that is written row by row: texts in quotes, numbers as short
// as they can be and read back as exactly the same. It appears whole (safe_file.h), and its part
// has only whole rows. From beginKeeping() on, whatever ends the run early leaves the rows
// that are there as the table, also foreign code that hangs or ends the process.
#pragma once

#include <atomic>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "ending/interrupts.h"
#include "files/safe_file.h"
#include "fmu_file/model_description.h"
#include "words/numbers.h"

// A table's file as users give it: "-" is stdout, and "./-" a file.
inline bool isStandardOutput(const std::filesystem::path& table) {
  return table == "-";
}
// For sentences.
std::string nameOfTable(const std::filesystem::path& table);

class ResultTable {
 public:
  // Rows are known by their first cell, before which a sentence has `rowName`: "t=", "run ". Throws
  // Failure for two columns of one name, and as the others do when the file cannot be written.
  // Until keep() or close() it stays as it is. Before stdout is written,
  // keepStandardOutputForResult() has been called.
  ResultTable(const std::filesystem::path& file, const std::vector<std::string>& columns,
              std::string rowName);

  // The next cell of the row.
  void add(double number) { addText(numberText(number)); }
  void add(long long number) { addText(std::to_string(number)); }
  void add(std::string_view text);
  void add(const Cell& cell);
  void addEmpty() { addText(""); }
  // The row is complete. It is written at once, or soon, by endRow() or writeLateRows().
  void endRow();
  // Once a second: writes what waits. Throws Failure, too, when nobody reads it any more.
  void writeLateRows();
  // Writes what waits. When the disk does not take it, it is dropped.
  void flush();

  // From now on keep() makes the rows the table, and an end by force calls it.
  void beginKeeping() { keeps = true; }
  // What was written becomes the file although not all could be. Gives how far the rows go, as a
  // sentence; nothing for a table without rows, and for stdout, whose reader has them.
  std::string keep();
  // All that was given becomes the file.
  void close();

  bool hasRows() const { return !lastWaiting.empty(); }
  // Whether it appears on a terminal.
  bool isSeen() const { return file.isTerminal(); }

 private:
  void addText(std::string_view cell);
  bool isLate();
  void write();
  std::string keepWritten();

  const std::filesystem::path target;
  const std::string rowName;
  SafeFile file;
  std::string row;                // that is not complete
  std::string rows;               // that wait to be written
  std::string last, lastWaiting;  // the first cells of the last one written, and of all
  long long looked;               // for late rows, in seconds
  std::atomic<bool> keeps = false;
  // Comes before that of the file, by which the part would go.
  AtForcedEnd atForcedEnd{[this] { return keeps ? keepWritten() : ""; }};
};
