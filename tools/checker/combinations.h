// Which causality, variability and initial a variable may have together, as FMI 2.0.2 has them in
// the tables of its section 2.2.7: an input, for instance, is discrete or continuous and has no
// initial.
#pragma once

#include <string_view>
#include <vector>

// The values of `initial` that the combination allows, the default first; nothing when it allows
// none, or is not allowed itself.
std::vector<std::string_view> allowedInitial(std::string_view causality,
                                             std::string_view variability);

// Also true for words that FMI does not know.
bool isAllowed(std::string_view causality, std::string_view variability);
