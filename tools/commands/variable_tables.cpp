// The variables for people: one table per causality, with only the columns that say something.
#include <algorithm>
#include <array>
#include <iostream>

#include "commands/fmu_facts.h"
#include "words/layout.h"
#include "words/numbers.h"
#include "words/text.h"

namespace {

constexpr std::size_t rowsOfATable = 8;
// One name that is as long as a book leaves the table narrow.
constexpr std::size_t widestColumn = 80;

std::string textOf(const std::optional<double>& value) {
  return value ? numberText(*value) : "";
}

std::string shownName(const ScalarVariable& variable) {
  return variable.name;
}

std::string typeOf(const ScalarVariable& variable) {
  return variable.type;
}

std::string startOf(const ScalarVariable& variable) {
  if (variable.startText) return "\"" + *variable.startText + "\"";
  if (variable.type == "Boolean" && variable.start) return *variable.start != 0 ? "true" : "false";
  return textOf(variable.start);
}

std::string rangeOf(const ScalarVariable& variable) {
  if (!variable.min && !variable.max) return "";
  return textOf(variable.min) + (variable.min ? " .." : "..") + (variable.max ? " " : "") +
         textOf(variable.max);
}

// 1 is what everybody assumes.
std::string nominalOf(const ScalarVariable& variable) {
  return variable.nominal == 1.0 ? "" : textOf(variable.nominal);
}

std::string unitOf(const ScalarVariable& variable) {
  return variable.unit;
}

std::string displayUnitOf(const ScalarVariable& variable) {
  return variable.displayUnit ? variable.displayUnit->name : "";
}

std::string descriptionOf(const ScalarVariable& variable) {
  return variable.description;
}

struct Column {
  const char* head;
  std::string (*textOf)(const ScalarVariable&);
  std::size_t widest;  // unless everything is shown
  bool right = false;
};

constexpr std::array<Column, 8> columns = {{{"Name", shownName, 40},
                                            {"Type", typeOf, 20},
                                            {"Start", startOf, 25, true},
                                            {"Range", rangeOf, 60},
                                            {"Nominal", nominalOf, 25, true},
                                            {"Unit", unitOf, 20},
                                            {"Shown in", displayUnitOf, 20},
                                            {"Description", descriptionOf, 60}}};

using Variables = std::vector<const ScalarVariable*>;

std::vector<std::string> cellsOf(const Column& column, const Variables& variables, bool all) {
  std::vector<std::string> cells;
  for (const ScalarVariable* variable : variables) {
    const std::string text = printable(column.textOf(*variable));
    cells.push_back(all ? text : shortened(text, column.widest));
  }
  return cells;
}

// Adds the column to the lines, which it keeps as long as each other.
void append(std::vector<std::string>& lines, const Column& column,
            const std::vector<std::string>& cells) {
  std::size_t width = widthOf(column.head);
  for (const std::string& cell : cells)
    width = std::max(width, std::min(widthOf(cell), widestColumn));
  lines[0] += "  " + padded(column.head, width, column.right);
  for (std::size_t i = 0; i < cells.size(); ++i)
    lines[i + 1] += "  " + padded(cells[i], width, column.right);
}

void printRows(const Variables& variables, bool all) {
  std::vector<std::string> lines(variables.size() + 1);
  const bool onlyReal = std::ranges::all_of(variables, [](auto v) { return v->type == "Real"; });
  for (const Column& column : columns) {
    const std::vector<std::string> cells = cellsOf(column, variables, all);
    const bool says = std::ranges::any_of(cells, [](auto& cell) { return !cell.empty(); });
    if (says && !(column.textOf == typeOf && onlyReal)) append(lines, column, cells);
  }
  for (const std::string& line : lines)
    std::cout << line.substr(0, line.find_last_not_of(' ') + 1) << "\n";
}

void printTable(const char* title, Variables variables, bool all) {
  const std::size_t count = variables.size();
  if (count == 0) return;
  if (!all && count > rowsOfATable + 1) variables.resize(rowsOfATable);
  std::cout << "\n" << title << " (" << count << ")\n";
  printRows(variables, all);
  if (variables.size() < count)
    std::cout << "  ... and " << count - variables.size() << " more (--all shows them)\n";
}

struct Table {
  const char* causality;
  const char* title;
  bool always;  // or only when everything is shown
};

constexpr std::array<Table, 6> tables = {{{"input", "Inputs", true},
                                          {"output", "Outputs", true},
                                          {"parameter", "Parameters", true},
                                          {"calculatedParameter", "Calculated parameters", false},
                                          {"local", "Local variables", false},
                                          {"independent", "Independent variable", false}}};

}  // namespace

void printVariables(const ModelDescription& model, bool all) {
  std::size_t shown = 0;
  for (const Table& table : tables) {
    if (!table.always && !all) continue;
    Variables variables;
    for (const ScalarVariable& variable : model.variables) {
      if (variable.causality == table.causality) variables.push_back(&variable);
    }
    shown += variables.size();
    printTable(table.title, std::move(variables), all);
  }
  if (shown < model.variables.size())
    std::cout << "\n" << model.variables.size() - shown << " internal (--all shows them)\n";
}
