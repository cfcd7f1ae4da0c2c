// Does a modelDescription.xml keep what FMI 2.0 demands of it? One line for each place where it
// does not.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

struct CheckResult {
  std::multimap<std::size_t, std::string> findings;  // by the line that they are about
  std::size_t checks = 0;
  std::size_t variables = 0;
};

// `files` are the names of all files of the FMU. Throws Failure for text in which there is nothing
// to check: no XML, or a description of another version of FMI.
CheckResult checkDescription(std::string_view xml, const std::vector<std::string>& files);
