// Variables of an FMU as a user names them on the command line and in files, and their values on
// the way into and out of an instance.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "csv.h"
#include "fmu.h"

// The variables of an FMU by their names.
class VariableNames {
 public:
  // The description must outlive the object.
  explicit VariableNames(const ModelDescription& model);

  using Filter = std::function<bool(const ScalarVariable&)>;
  // Throws Failure for an unknown name; the message begins with `place` and offers the closest name
  // among the variables that are `wanted`.
  const ScalarVariable& find(const std::string& name, const std::string& place,
                             const Filter& wanted) const;

 private:
  const ScalarVariable* closest(std::string_view name, const Filter& wanted) const;

  const ModelDescription& model;
  std::unordered_map<std::string_view, const ScalarVariable*> byName;
};

// "input", "tunable parameter" and the like.
std::string kindOf(const ScalarVariable& variable);

// The value that the text says for a variable of this type. Throws Failure when it says none.
Cell parseValue(const ScalarVariable& variable, const std::string& text);

// Whether a number is a value of this variable's type: booleans are 0 or 1, integers have no
// fraction, a text is none.
bool canHold(const ScalarVariable& variable, double value);

// Variables whose values go in or out together, with one call of the FMU per base type.
class VariableGroup {
 public:
  // The variables must outlive the group.
  explicit VariableGroup(const std::vector<const ScalarVariable*>& variables);

  void readFrom(FmuInstance& instance);
  void writeTo(FmuInstance& instance);

  // In the order of the variables.
  std::vector<Cell> values;

 private:
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

  template <class Value>
  void take(const Part<Value>& part);
  template <class Value>
  void give(Part<Value>& part) const;

  Part<fmi2Real> reals;
  Part<fmi2Integer> integers;
  Part<fmi2Boolean> booleans;
  Part<fmi2String> strings;
};
