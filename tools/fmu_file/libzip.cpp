#include "fmu_file/libzip.h"

#include <algorithm>

#include "words/text.h"

std::string reasonOf(int zipError) {
  zip_error_t error;
  zip_error_init_with_code(&error, zipError);
  std::string reason = zip_error_strerror(&error);
  zip_error_fini(&error);
  return reason;
}

const char* problemOf(std::string_view name) {
  constexpr int deepest = 32;
  if (name.empty()) return "has no name";
  if (name.front() == '/') return "has an absolute path";
  if (name.find('\\') != name.npos) return "has a backslash in its name";
  if (name.size() > 1 && name[1] == ':') return "begins with a drive letter";
  if (printable(name) != name) return "has a control character in its name";
  if (name.back() == '/') name.remove_suffix(1);
  if (std::ranges::count(name, '/') >= deepest) return "lies more than 32 levels deep";
  for (std::size_t start = 0; start <= name.size();) {
    const std::size_t end = std::min(name.find('/', start), name.size());
    const std::string_view component = name.substr(start, end - start);
    if (component == "..") return "would leave the directory that it is unpacked to";
    if (component.empty() || component == ".") return "has an empty step in its path";
    start = end + 1;
  }
  return nullptr;
}
