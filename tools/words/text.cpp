#include "words/text.h"

#include <utf8.h>

#include <algorithm>
#include <iterator>

namespace {

// No sentence needs more of a text, which may be as large as a file.
constexpr std::size_t bytesOfASentence = 4000;

// Controls (C0, DEL, C1), separators of lines, and what embeds, overrides or isolates a direction.
constexpr bool isTrick(std::uint32_t character) {
  return character < 0x20 || (character >= 0x7F && character < 0xA0) ||
         (character >= 0x2028 && character <= 0x202E) ||
         (character >= 0x2066 && character <= 0x2069);
}

}  // namespace

std::string_view trimmed(std::string_view text) {
  constexpr std::string_view blanks = " \t\r\n";
  const std::size_t first = std::min(text.find_first_not_of(blanks), text.size());
  return text.substr(first, text.find_last_not_of(blanks) + 1 - first);
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

std::string joined(const std::vector<std::string_view>& words, std::string_view separator) {
  std::string text;
  for (const std::string_view word : words) text.append(text.empty() ? "" : separator).append(word);
  return text;
}

bool isIdentifier(std::string_view text) {
  constexpr std::string_view characters =
      "0123456789_abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ";
  return !text.empty() && characters.find(text[0], 10) != text.npos &&
         text.find_first_not_of(characters) == text.npos;
}

std::string counted(long long count, const std::string& noun) {
  return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}
