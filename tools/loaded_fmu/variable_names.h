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

  // Throws Failure for an unknown name and for one of a variable that is not `wanted`; the message
  // begins with `place`, and has the closest name among those that are, or says what is `expected`.
  const ScalarVariable& find(const std::string& name, const std::string& place,
                             const std::function<bool(const ScalarVariable&)>& wanted,
                             const std::string& expected) const;
  // The same of a variable that can be given a value at the start.
  const ScalarVariable& findSettable(const std::string& name, const std::string& place) const;

 private:
  const ModelDescription& model;
  std::unordered_map<std::string_view, const ScalarVariable*> byName;
};
