#include "checker/combinations.h"

#include <algorithm>
#include <array>

namespace {

constexpr std::array<std::string_view, 6> causalities = {
    "parameter", "calculatedParameter", "input", "output", "local", "independent"};

struct Row {
  std::string_view variability;
  std::string_view letters;  // for each causality; '-' is not allowed
};

// clang-format off
constexpr std::array<Row, 5> combinations = {{
    //             parameter, calculatedParameter, input, output, local, independent
    {"constant",   "---AA-"},
    {"fixed",      "AB--B-"},
    {"tunable",    "AB--B-"},
    {"discrete",   "--DCC-"},
    {"continuous", "--DCCE"}}};
// clang-format on

char letterOf(std::string_view causality, std::string_view variability) {
  const auto column = std::ranges::find(causalities, causality);
  const auto row = std::ranges::find(combinations, variability, &Row::variability);
  if (column == causalities.end() || row == combinations.end()) return '?';
  return row->letters[static_cast<std::size_t>(column - causalities.begin())];
}

}  // namespace

std::vector<std::string_view> allowedInitial(std::string_view causality,
                                             std::string_view variability) {
  switch (letterOf(causality, variability)) {
    case 'A':
      return {"exact"};
    case 'B':
      return {"calculated", "approx"};
    case 'C':
      return {"calculated", "exact", "approx"};
    default:
      return {};
  }
}

bool isAllowed(std::string_view causality, std::string_view variability) {
  return letterOf(causality, variability) != '-';
}
