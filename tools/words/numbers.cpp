#include "words/numbers.h"

#include <array>
#include <cstdio>
#include <locale>
#include <sstream>

namespace {

// A number that from_chars() could not represent: 0, or next to it, unless it is too large. Streams
// tell the two apart.
std::optional<double> tooSmall(std::string_view text) {
  std::istringstream stream{std::string(text)};
  stream.imbue(std::locale::classic());
  double value = 0;
  return stream >> value ? std::optional(value) : std::nullopt;
}

}  // namespace

std::string numberText(double value) {
  std::array<char, 32> text;
  const auto end = std::to_chars(text.data(), text.data() + text.size(), value).ptr;
  return {text.data(), end};
}

std::string timeText(double time) {
  std::array<char, 32> text;
  std::snprintf(text.data(), text.size(), "%.10g", time);
  return text.data();
}

std::optional<double> parseNumber(std::string_view text) {
  text = trimmed(text);
  // from_chars knows no sign but the minus.
  if (text.starts_with('+') && !text.starts_with("+-")) text.remove_prefix(1);
  double value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (end != text.data() + text.size()) return std::nullopt;
  if (error == std::errc::result_out_of_range) return tooSmall(text);
  return error == std::errc() ? std::optional(value) : std::nullopt;
}

std::optional<bool> parseBoolean(std::string_view text) {
  text = trimmed(text);
  if (text == "true" || text == "1") return true;
  return text == "false" || text == "0" ? std::optional(false) : std::nullopt;
}
