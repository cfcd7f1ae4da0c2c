#include "loaded_fmu/message.h"

#include <algorithm>
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

// The letter by which messages name a variable's base type, as in "#r12#".
bool isOfType(const ScalarVariable& variable, char letter) {
  switch (letter) {
    case 'r':
      return variable.type == "Real";
    case 'i':
      return variable.type == "Integer" || variable.type == "Enumeration";
    case 'b':
      return variable.type == "Boolean";
    case 's':
      return variable.type == "String";
    default:
      return false;
  }
}

std::string withNames(const std::string& text, const ModelDescription& model) {
  std::string result;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const std::size_t end = text[i] == '#' ? text.find('#', i + 1) : std::string::npos;
    if (end == std::string::npos) {
      result += text[i];
    } else if (end == i + 1) {
      result += '#';
      i = end;
    } else {
      const auto reference = parseWhole<std::uint32_t>(text.substr(i + 2, end - i - 2));
      const auto variable = std::ranges::find_if(model.variables, [&](const ScalarVariable& v) {
        return isOfType(v, text[i + 1]) && reference == v.valueReference;
      });
      if (variable == model.variables.end()) {
        result += '#';
      } else {
        result += variable->name;
        i = end;
      }
    }
  }
  return result;
}

}  // namespace

std::string messageText(const char* text, va_list arguments, const ModelDescription& model) {
  return withNames(format(text, arguments), model);
}
