// Does a modelDescription.xml keep what FMI 2.0 demands of it? One line for each place where it
// does not.
#pragma once

#include <string>
#include <string_view>
#include <vector>

struct CheckResult {
  std::vector<std::string> findings;  // by line, one line each
  std::size_t checks = 0;
  std::size_t variables = 0;
};

// `files` are the names of all files of the FMU. Throws Failure for text in which there is nothing
// to check: no XML, or a description of another version of FMI.
CheckResult checkDescription(std::string_view xml, const std::vector<std::string>& files);
