#include "loaded_fmu/variable_names.h"

#include <vector>

#include "ending/failure.h"
#include "words/spelling.h"
#include "words/text.h"

namespace {

std::string withArticle(const std::string& noun) {
  return (std::string_view("aeiou").find(noun[0]) != std::string_view::npos ? "an " : "a ") + noun;
}

// "input", "tunable parameter" and the like, with its article.
std::string roleOf(const ScalarVariable& variable) {
  if (variable.causality == "parameter") return withArticle(variable.variability + " parameter");
  return withArticle(variable.causality.ends_with("arameter") ? "calculated parameter"
                     : variable.causality == "local"          ? "local variable"
                     : variable.causality == "independent"    ? "independent variable"
                                                              : variable.causality);
}

}  // namespace

VariableNames::VariableNames(const ModelDescription& description) : model(description) {
  for (const ScalarVariable& variable : model.variables) byName.emplace(variable.name, &variable);
}

const ScalarVariable& VariableNames::find(const std::string& name, const std::string& place,
                                          const std::function<bool(const ScalarVariable&)>& wanted,
                                          const std::string& expected) const {
  const auto found = byName.find(name);
  if (found != byName.end() && wanted(*found->second)) return *found->second;
  if (found != byName.end())
    throw Failure(place + ": '" + printable(name) + "' is " + roleOf(*found->second) +
                  ", expected " + expected);
  std::vector<std::string_view> names;
  for (const ScalarVariable& variable : model.variables)
    if (wanted(variable)) names.push_back(variable.name);
  const std::string_view other = closestName(name, names);
  throw Failure(place + ": the FMU has no variable '" + printable(name) + "'" +
                (other.empty() ? "; `zelvox info` lists those that it has"
                               : ", did you mean '" + printable(other) + "'?"));
}

const ScalarVariable& VariableNames::findSettable(const std::string& name,
                                                  const std::string& place) const {
  const auto settable = [](const ScalarVariable& variable) {
    return variable.causality == "input" || variable.causality == "parameter";
  };
  return find(name, place, settable, "an input or a parameter");
}
