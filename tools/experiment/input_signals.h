// The inputs of a simulation as functions of time, from the columns of a table: real continuous
// variables are interpolated linearly between two rows, all others keep the value of the last row.
// Before the first row and behind the last their values hold. Of rows with the same time the last
// is valid from then on, so that two of them make a jump.
#pragma once

#include "loaded_fmu/loaded_fmu.h"
#include "tables/csv_reader.h"

class InputSignals {
 public:
  // Throws Failure with the place in the table for a column that names no input or tunable
  // parameter, or has values that the variable cannot hold. The variables of `model` must outlive
  // the object.
  InputSignals(const ModelDescription& model, CsvTable columns);

  // A row that lies behind `time` by no more than the tolerance counts as reached: a communication
  // point that was computed may fall short of the time in a row by some last digits.
  void writeTo(LoadedFmu& instance, double time, double tolerance);

  // What is driven, by column, and the numbers that writeTo() gave it last.
  const std::vector<const ScalarVariable*>& variables() const { return driven; }
  const std::vector<Cell>& written() const { return values.values; }

 private:
  CsvTable table;
  std::vector<const ScalarVariable*> driven;  // by column
  std::vector<bool> interpolated;
  VariableGroup values;
};
