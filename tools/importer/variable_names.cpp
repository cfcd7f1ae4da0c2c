#include "importer/variable_names.h"

#include <algorithm>
#include <cctype>
#include <limits>
#include <numeric>
#include <vector>

#include "base/failure.h"
#include "base/text.h"

namespace {

// How many characters have to be inserted, deleted, replaced or swapped with their neighbour to
// make one name of the other; a wrong capital letter costs nothing, so that it is found first.
std::size_t distance(std::string_view a, std::string_view b) {
  const auto same = [](char x, char y) {
    return std::tolower(static_cast<unsigned char>(x)) ==
           std::tolower(static_cast<unsigned char>(y));
  };
  std::vector<std::size_t> beforeLast(b.size() + 1), last(b.size() + 1), current(b.size() + 1);
  std::iota(current.begin(), current.end(), std::size_t{0});
  for (std::size_t i = 1; i <= a.size(); ++i) {
    beforeLast.swap(last);
    last.swap(current);
    current[0] = i;
    for (std::size_t j = 1; j <= b.size(); ++j) {
      const std::size_t replaced = last[j - 1] + (same(a[i - 1], b[j - 1]) ? 0 : 1);
      current[j] = std::min({replaced, last[j] + 1, current[j - 1] + 1});
      if (i > 1 && j > 1 && same(a[i - 1], b[j - 2]) && same(a[i - 2], b[j - 1]))
        current[j] = std::min(current[j], beforeLast[j - 2] + 1);
    }
  }
  return current[b.size()];
}

std::string withArticle(const std::string& noun) {
  return (std::string_view("aeiou").find(noun[0]) != std::string_view::npos ? "an " : "a ") + noun;
}

}  // namespace

VariableNames::VariableNames(const ModelDescription& description) : model(description) {
  for (const ScalarVariable& variable : model.variables) byName.emplace(variable.name, &variable);
}

const ScalarVariable& VariableNames::find(const std::string& name, const std::string& place,
                                          const Filter& wanted) const {
  if (const auto found = byName.find(name); found != byName.end()) return *found->second;
  const ScalarVariable* const other = closest(name, wanted);
  throw Failure(place + ": the FMU has no variable '" + printable(name) + "'" +
                (other != nullptr ? ", did you mean '" + printable(other->name) + "'?"
                                  : "; `zelvox info` lists those that it has"));
}

// Names that share next to nothing are no help.
const ScalarVariable* VariableNames::closest(std::string_view name, const Filter& wanted) const {
  const ScalarVariable* best = nullptr;
  std::size_t smallest = std::numeric_limits<std::size_t>::max();
  for (const ScalarVariable& variable : model.variables) {
    const std::size_t longer = std::max(name.size(), variable.name.size());
    const std::size_t shorter = std::min(name.size(), variable.name.size());
    if (!wanted(variable) || shorter < longer - longer / 2) continue;
    const std::size_t far = distance(name, variable.name);
    if (far < smallest && 2 * far <= longer) {
      smallest = far;
      best = &variable;
    }
  }
  return best;
}

std::string kindOf(const ScalarVariable& variable) {
  if (variable.causality == "parameter") return withArticle(variable.variability + " parameter");
  return withArticle(variable.causality.ends_with("arameter") ? "calculated parameter"
                     : variable.causality == "local"          ? "local variable"
                     : variable.causality == "independent"    ? "independent variable"
                                                              : variable.causality);
}
