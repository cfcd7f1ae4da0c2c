// The values of an FMU's variables: as texts, and on the way into and out of an instance.
#pragma once

#include <string>
#include <vector>

#include "fmi2TypesPlatform.h"
#include "fmu_file/model_description.h"

// The value that the text says for a variable of this type. Throws Failure when it says none.
Cell parseValue(const ScalarVariable& variable, const std::string& text);

// The same of a start value, which may have a unit behind it, "24000 L/min": that of the variable
// or any that the FMU can show the variable in. Without one it is in the variable's unit.
Cell parseStartValue(const ModelDescription& model, const ScalarVariable& variable,
                     const std::string& text);

// Whether a number is a value of this variable's type: booleans are 0 or 1, integers have no
// fraction, a text is none.
bool canHold(const ScalarVariable& variable, double value);

// Variables whose values go into or out of an FMU together: LoadedFmu::set() and get().
class VariableGroup {
 public:
  // The variables must outlive the group.
  explicit VariableGroup(const std::vector<const ScalarVariable*>& variables);
  void add(const ScalarVariable& variable);

  // In the order of the variables.
  std::vector<Cell> values;

 private:
  friend class LoadedFmu;
  // The variables of one base type.
  template <class Value>
  struct Part {
    std::vector<std::size_t> positions;  // in `values`
    std::vector<fmi2ValueReference> references;
    std::vector<Value> values;

    void add(std::size_t position, fmi2ValueReference reference) {
      positions.push_back(position);
      references.push_back(reference);
      values.emplace_back();
    }
  };

  Part<fmi2Real> reals;
  Part<fmi2Integer> integers;
  Part<fmi2Boolean> booleans;
  Part<fmi2String> strings;
};
