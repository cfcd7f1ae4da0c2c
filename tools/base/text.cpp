#include "base/text.h"

#include <utf8.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <iterator>
#include <locale>
#include <sstream>

namespace {

// No sentence needs more of a text, which may be as large as a file.
constexpr std::size_t bytesOfASentence = 4000;

// A number that from_chars() could not represent: 0, or next to it, unless it is too large. Streams
// tell the two apart.
std::optional<double> tooSmall(std::string_view text) {
  std::istringstream stream{std::string(text)};
  stream.imbue(std::locale::classic());
  double value = 0;
  return stream >> value ? std::optional(value) : std::nullopt;
}

// Controls (C0, DEL, C1), separators of lines, and what embeds, overrides or isolates a direction.
constexpr bool isTrick(std::uint32_t character) {
  return character < 0x20 || (character >= 0x7F && character < 0xA0) ||
         (character >= 0x2028 && character <= 0x202E) ||
         (character >= 0x2066 && character <= 0x2069);
}

}  // namespace

std::string numberText(double value) {
  std::array<char, 32> text;
  const auto end = std::to_chars(text.data(), text.data() + text.size(), value).ptr;
  return {text.data(), end};
}

std::string_view trimmed(std::string_view text) {
  constexpr std::string_view blanks = " \t\r\n";
  const std::size_t first = std::min(text.find_first_not_of(blanks), text.size());
  return text.substr(first, text.find_last_not_of(blanks) + 1 - first);
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

std::string printable(std::string_view text) {
  std::string valid, line;
  utf8::replace_invalid(text.begin(), text.end(), std::back_inserter(valid));
  for (auto end = valid.begin(); end != valid.end();) {
    const auto begin = end;
    if (isTrick(utf8::unchecked::next(end))) {
      line += ' ';
    } else {
      line.append(begin, end);
    }
  }
  return line;
}

std::string shortened(std::string_view text, std::size_t width) {
  std::size_t characters = 0, last = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if ((text[i] & 0xC0) == 0x80) continue;
    if (++characters == width) last = i;
    if (characters > width) return std::string(text.substr(0, last)) + "\u2026";
  }
  return std::string(text);
}

std::string inQuotes(std::string_view text) {
  return "'" + shortened(printable(text.substr(0, bytesOfASentence)), 200) + "'";
}

std::string sentence(std::string_view text) {
  return shortened(printable(text.substr(0, bytesOfASentence)), 600);
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
