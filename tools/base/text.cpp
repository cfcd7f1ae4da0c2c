#include "base/text.h"

#include <algorithm>
#include <array>
#include <charconv>
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

std::optional<double> parseNumber(std::string_view text) {
  constexpr std::string_view blanks = " \t\r\n";
  const std::size_t first = text.find_first_not_of(blanks);
  if (first == std::string_view::npos) return std::nullopt;
  text = text.substr(first, text.find_last_not_of(blanks) - first + 1);
  // from_chars knows no sign but the minus.
  if (text.starts_with('+') && !text.starts_with("+-")) text.remove_prefix(1);
  double value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (end != text.data() + text.size()) return std::nullopt;
  if (error == std::errc::result_out_of_range) return tooSmall(text);
  return error == std::errc() ? std::optional(value) : std::nullopt;
}

std::string printable(std::string_view text) {
  std::string line(text);
  for (char& character : line) {
    if (static_cast<unsigned char>(character) < 0x20 || character == 0x7F) character = ' ';
  }
  return line;
}

std::string inQuotes(std::string_view text) {
  constexpr std::size_t enough = 200;
  return "'" + printable(text.substr(0, enough)) + (text.size() > enough ? "..." : "") + "'";
}

std::size_t widthOf(std::string_view text) {
  return static_cast<std::size_t>(
      std::ranges::count_if(text, [](char c) { return (c & 0xC0) != 0x80; }));
}

std::string padded(const std::string& text, std::size_t width, bool right) {
  const std::string blanks(width - std::min(width, widthOf(text)), ' ');
  return right ? blanks + text : text + blanks;
}

std::string counted(long long count, const std::string& noun) {
  return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}
