// Numbers as texts and back, the same in every file and every locale.
#pragma once

#include <charconv>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>

#include "words/text.h"

// The shortest decimal text that reads back as exactly this number; "inf" and "nan" for the others.
std::string numberText(double value);

// A time for people: without the last digits that start + i * interval leaves.
std::string timeText(double time);

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
