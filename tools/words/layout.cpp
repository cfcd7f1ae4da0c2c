#include "words/layout.h"

#include <algorithm>

std::size_t widthOf(std::string_view text) {
  return static_cast<std::size_t>(
      std::ranges::count_if(text, [](char c) { return (c & 0xC0) != 0x80; }));
}

std::string padded(const std::string& text, std::size_t width, bool right) {
  const std::string blanks(width - std::min(width, widthOf(text)), ' ');
  return right ? blanks + text : text + blanks;
}
