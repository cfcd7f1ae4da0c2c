// Numbers and texts between files, people and the program, the same in every command.
#pragma once

#include <charconv>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>

// The shortest decimal text that reads back as exactly this number; "inf" and "nan" for the others.
std::string numberText(double value);

// The text without the blanks around it, which XML means nothing by.
std::string_view trimmed(std::string_view text);

// A number as XML and CSV write it, blanks around it allowed; empty for everything else.
std::optional<double> parseNumber(std::string_view text);

// A whole number as XML and CSV write it, blanks around it allowed; empty for everything else, also
// for one that the type cannot hold. A number without a sign has none in front, not even a plus.
template <class Integer>
std::optional<Integer> parseWhole(std::string_view text) {
  text = trimmed(text);
  if (std::is_signed_v<Integer> && text.starts_with('+') && !text.starts_with("+-"))
    text.remove_prefix(1);
  Integer value{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  const bool whole = error == std::errc() && end == text.data() + text.size();
  return whole ? std::optional(value) : std::nullopt;
}

// true, false, 1 or 0, blanks around it allowed; empty for everything else.
std::optional<bool> parseBoolean(std::string_view text);

// The text on one line of a terminal, as UTF-8: what a foreign file may hold to play tricks,
// control characters and those that turn the direction of writing, becomes blanks.
std::string printable(std::string_view text);

// At most so many characters of a text in UTF-8; the last is an ellipsis when there are more.
std::string shortened(std::string_view text, std::size_t width);

// A foreign text for a sentence: printable, in quotes, and cut when it is too long to be read.
std::string inQuotes(std::string_view text);

// What is said to somebody at a terminal, whatever texts it was made of: printable, and not so long
// that nobody reads it.
std::string sentence(std::string_view text);

// How many characters of a terminal the text takes: characters, not bytes.
std::size_t widthOf(std::string_view text);

// The text with blanks behind it, or before it, up to `width` characters.
std::string padded(const std::string& text, std::size_t width, bool right = false);

// "1 input", "2 inputs".
std::string counted(long long count, const std::string& noun);
