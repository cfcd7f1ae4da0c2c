// The variables of an FMU as a user names them on the command line and in files.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>

#include "fmu_file/model_description.h"

// The variables of an FMU by their names.
class VariableNames {
 public:
  // The description must outlive the object.
  explicit VariableNames(const ModelDescription& model);

  bool has(std::string_view name) const { return byName.contains(name); }

  using Filter = std::function<bool(const ScalarVariable&)>;
  // Throws Failure for an unknown name; the message begins with `place` and offers the closest name
  // among the variables that are `wanted`.
  const ScalarVariable& find(const std::string& name, const std::string& place,
                             const Filter& wanted) const;
  // The same of a variable that can be given a value at the start; others are refused, too.
  const ScalarVariable& findSettable(const std::string& name, const std::string& place) const;

 private:
  std::string_view closest(std::string_view name, const Filter& wanted) const;

  const ModelDescription& model;
  std::unordered_map<std::string_view, const ScalarVariable*> byName;
};

// "input", "tunable parameter" and the like, with its article.
std::string roleOf(const ScalarVariable& variable);
