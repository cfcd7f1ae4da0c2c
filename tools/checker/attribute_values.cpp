#include "checker/attribute_values.h"

#include <algorithm>
#include <cstdint>

#include "checker/subject.h"
#include "words/numbers.h"
#include "words/text.h"

namespace {

bool isNumber(std::string_view text) {
  // XML Schema spells them so and not otherwise.
  if (text == "INF" || text == "-INF" || text == "NaN") return true;
  return parseNumber(text) && text.find_first_of("iInN") == text.npos;
}

bool isDate(std::string_view text) {
  constexpr std::string_view form = "0000-00-00T00:00:00";
  if (text.size() < form.size()) return false;
  for (std::size_t i = 0; i < form.size(); ++i) {
    const bool digit = text[i] >= '0' && text[i] <= '9';
    if (form[i] == '0' ? !digit : text[i] != form[i]) return false;
  }
  return text.find_first_not_of("0123456789.:Z+-", form.size()) == text.npos;
}

}  // namespace

bool isOneOf(std::string_view text, const std::vector<std::string_view>& choices) {
  return std::ranges::find(choices, text) != choices.end();
}

std::string expectedValue(std::string_view text, std::string_view kind) {
  const auto words = wordsOf(text);
  const auto choices = wordsOf(kind, '|');
  const std::string_view value = trimmed(text);
  const auto isIndex = [](std::string_view word) {
    return parseWhole<std::uint32_t>(word).has_value();
  };
  if (kind == "number") return isNumber(value) ? "" : "a number";
  if (kind == "int") return parseWhole<std::int32_t>(value) ? "" : "a whole number of 32 bits";
  if (kind == "index") return isIndex(value) ? "" : "a whole number from 0 on";
  if (kind == "date") return isDate(value) ? "" : "a time such as 2009-12-08T14:33:22Z";
  if (kind == "boolean") return parseBoolean(value) ? "" : "true or false";
  if (kind == "indexes")
    return std::ranges::all_of(words, isIndex) ? "" : "indexes with blanks between";
  std::string list;
  for (const std::string_view choice : choices) {
    if (choice != "kinds") list += (list.empty() ? "" : ", ") + std::string(choice);
  }
  const auto allowed = [&choices](std::string_view word) { return isOneOf(word, choices); };
  const bool right = choices[0] == "kinds" ? std::ranges::all_of(words, allowed) : allowed(text);
  return right ? "" : "one of " + list;
}
