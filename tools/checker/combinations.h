// Which causality, variability and initial a variable may have together, and which of them ask for
// a start value, as FMI 2.0.2 has them in the tables of its section 2.2.7: an input, for instance,
// is discrete or continuous, has no initial and needs a start value.
#pragma once

#include <string_view>
#include <vector>

// The values of `initial` that the combination allows, the default first; nothing when it allows
// none, or is not allowed itself.
std::vector<std::string_view> allowedInitial(std::string_view causality,
                                             std::string_view variability);

// Also true for words that FMI does not know.
bool isAllowed(std::string_view causality, std::string_view variability);

std::string_view defaultInitial(std::string_view causality, std::string_view variability);

enum class Start { required, optional, forbidden };

// `initial` with its default.
Start startOf(std::string_view causality, std::string_view initial);
