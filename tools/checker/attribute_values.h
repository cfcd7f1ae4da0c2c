// What the attributes of a model description may hold.
#pragma once

#include <string>
#include <string_view>
#include <vector>

// What the attribute should hold; empty when it does. The kind is number, int (32 bits), index
// (from 0 on), date, boolean, indexes (a list), values with `|` between them, or `kinds|` and such
// values (a list of them).
std::string expectedValue(std::string_view text, std::string_view kind);

bool isOneOf(std::string_view text, const std::vector<std::string_view>& choices);
