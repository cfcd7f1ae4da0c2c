// The names of variables where variableNamingConvention is structured: names of C, arrays and
// quoted texts with dots between them, by the grammar of FMI 2.0.2, 2.2.9.
#pragma once

#include <string_view>

// `a.b[1,2].'any thing'`, or `der(...)` of such a name, with an order if it is not 1.
bool isStructuredName(std::string_view name);
