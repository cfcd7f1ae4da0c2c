// The variables for people: one table per causality, with only the columns that say something.
#include <algorithm>
#include <array>
#include <iostream>
#include <span>

#include "commands/fmu_facts.h"
#include "words/layout.h"
#include "words/numbers.h"
#include "words/text.h"

namespace {

constexpr std::size_t rowsOfATable = 8;
// A longer text makes its own line long, and not the column wide for all.
constexpr std::size_t widestColumn = 80;

struct Column {
  const char* head;
  std::size_t widest;  // unless everything is shown
  bool right = false;
};

constexpr std::array<Column, 8> columns = {{{"Name", 40},
                                            {"Type", 20},
                                            {"Start", 25, true},
                                            {"Range", 60},
                                            {"Nominal", 25, true},
                                            {"Unit", 20},
                                            {"Shown in", 20},
                                            {"Description", 60}}};
using Row = std::array<std::string, columns.size()>;

std::string textOf(const std::optional<double>& value) {
  return value ? numberText(*value) : "";
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

// What all variables would say alike is left out: a nominal value of 1, and the type of reals where
// there are no others.
Row rowOf(const ScalarVariable& variable, bool onlyReal) {
  return {variable.name,
          onlyReal ? "" : variable.type,
          startOf(variable),
          rangeOf(variable),
          variable.nominal == 1.0 ? "" : textOf(variable.nominal),
          variable.unit,
          variable.displayUnit ? variable.displayUnit->name : "",
          variable.description};
}

void printRows(std::span<const ScalarVariable* const> variables, bool all) {
  const bool onlyReal = std::ranges::all_of(variables, [](auto v) { return v->type == "Real"; });
  std::vector<Row> rows;
  for (const ScalarVariable* const variable : variables) rows.push_back(rowOf(*variable, onlyReal));
  std::vector<std::string> lines(rows.size() + 1);
  for (std::size_t i = 0; i < columns.size(); ++i) {
    const auto& [head, widest, right] = columns[i];
    std::size_t width = 0;
    for (Row& row : rows) {
      row[i] = printable(row[i]);
      if (!all) row[i] = shortened(row[i], widest);
      width = std::max(width, std::min(widthOf(row[i]), widestColumn));
    }
    if (width == 0) continue;
    width = std::max(width, widthOf(head));
    lines[0] += "  " + padded(head, width, right);
    for (std::size_t j = 0; j < rows.size(); ++j)
      lines[j + 1] += "  " + padded(rows[j][i], width, right);
  }
  for (const std::string& line : lines)
    std::cout << line.substr(0, line.find_last_not_of(' ') + 1) << "\n";
}

void printTable(const char* title, const std::vector<const ScalarVariable*>& variables, bool all) {
  const std::size_t count = variables.size();
  if (count == 0) return;
  const std::size_t shown = all || count <= rowsOfATable + 1 ? count : rowsOfATable;
  std::cout << "\n" << title << " (" << count << ")\n";
  printRows(std::span(variables).first(shown), all);
  if (shown < count) std::cout << "  ... and " << count - shown << " more (--all shows them)\n";
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
    std::vector<const ScalarVariable*> variables;
    for (const ScalarVariable& variable : model.variables) {
      if (variable.causality == table.causality) variables.push_back(&variable);
    }
    shown += variables.size();
    printTable(table.title, variables, all);
  }
  if (shown < model.variables.size())
    std::cout << "\n" << model.variables.size() - shown << " internal (--all shows them)\n";
}
