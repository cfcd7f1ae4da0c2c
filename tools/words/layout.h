// Columns of a terminal.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

// How many characters of a terminal the text takes: characters, not bytes.
std::size_t widthOf(std::string_view text);

// The text with blanks behind it, or before it, up to `width` characters.
std::string padded(const std::string& text, std::size_t width, bool right = false);
