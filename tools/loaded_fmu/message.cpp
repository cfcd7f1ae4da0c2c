#include "loaded_fmu/message.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <optional>

#include "words/numbers.h"

namespace {

std::string format(const char* text, va_list arguments) {
  char* formatted = nullptr;
  if (text == nullptr || vasprintf(&formatted, text, arguments) < 0) return {};
  std::string result = formatted;
  std::free(formatted);
  return result;
}

// Messages name a variable's base type by its first letter, as in "#r12#".
char letterOf(const ScalarVariable& variable) {
  return variable.type == "Enumeration" ? 'i' : static_cast<char>(std::tolower(variable.type[0]));
}

std::string withNames(const std::string& text, const ModelDescription& model) {
  std::string result;
  for (std::size_t i = 0; i < text.size(); ++i) {
    result += text[i];
    const std::size_t end = text[i] == '#' ? text.find('#', i + 1) : std::string::npos;
    if (end == std::string::npos) continue;
    const auto reference = parseWhole<std::uint32_t>(text.substr(i + 2, end - i - 2));
    const auto variable = std::ranges::find_if(model.variables, [&](const ScalarVariable& v) {
      return letterOf(v) == text[i + 1] && reference == v.valueReference;
    });
    if (variable != model.variables.end()) result.replace(result.size() - 1, 1, variable->name);
    if (variable != model.variables.end() || end == i + 1) i = end;
  }
  return result;
}

}  // namespace

std::string messageText(const char* text, va_list arguments, const ModelDescription& model) {
  return withNames(format(text, arguments), model);
}
