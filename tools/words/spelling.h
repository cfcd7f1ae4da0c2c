// What somebody meant who mistyped a name.
#pragma once

#include <string_view>
#include <vector>

// The name that is closest to what was written; empty when all share next to nothing with it.
std::string_view closestName(std::string_view written, const std::vector<std::string_view>& names);
