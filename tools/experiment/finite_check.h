// Results that are no finite numbers: each variable is warned of once, or they end the run.
#pragma once

#include <string>
#include <vector>

#include "fmu_file/model_description.h"

class FiniteCheck {
 public:
  // The variables must outlive the object.
  FiniteCheck(const std::vector<const ScalarVariable*>& variables, bool failOnNan)
      : observed(variables), fails(failOnNan), warned(variables.size()) {}

  // A value for each variable, at a time of a run; `run` says which, for the warning, and is empty
  // where there is one only. Throws Failure if that was wanted.
  void check(double time, const std::vector<Cell>& values, const std::string& run = {});

 private:
  const std::vector<const ScalarVariable*>& observed;
  bool fails;
  std::vector<bool> warned;  // by variable
};
