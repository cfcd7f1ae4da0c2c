#include "java_text.h"

#include <cstdint>
#include <cstring>
#include <memory>
#include <string_view>

namespace {

constexpr char32_t replacementCharacter = 0xFFFD;

template <class Word>
Word wordAt(const char* bytes) {
  Word word;
  std::memcpy(&word, bytes, sizeof word);
  return word;
}

// Every name and every answer of Java passes here. Eight bytes at a time, and the last ones in a
// word that overlaps the one before: byte by byte this shows in the time of a single fmi2SetReal.
bool isAscii(std::string_view text) {
  const char* const bytes = text.data();
  const std::size_t size = text.size();
  if (size >= 8) {
    auto seen = wordAt<std::uint64_t>(bytes + size - 8);
    for (std::size_t i = 0; i + 8 < size; i += 8) seen |= wordAt<std::uint64_t>(bytes + i);
    return (seen & 0x8080808080808080u) == 0;
  }
  if (size >= 4) {
    const auto seen = wordAt<std::uint32_t>(bytes) | wordAt<std::uint32_t>(bytes + size - 4);
    return (seen & 0x80808080u) == 0;
  }
  unsigned char seen = 0;
  for (const char character : text) seen |= static_cast<unsigned char>(character);
  return seen < 0x80;
}

constexpr bool isHighSurrogate(char32_t c) {
  return c >= 0xD800 && c < 0xDC00;
}
constexpr bool isLowSurrogate(char32_t c) {
  return c >= 0xDC00 && c < 0xE000;
}

// Takes the first character off `text`, which is not empty; a surrogate counts as one.
char32_t takeCharacter(std::string_view& text) {
  constexpr char32_t smallest[] = {0, 0, 0x80, 0x800, 0x10000};
  const auto lead = static_cast<unsigned char>(text.front());
  const std::size_t length = lead < 0x80                   ? 1
                             : lead < 0xC0 || lead >= 0xF8 ? 0  // cannot begin a character
                             : lead < 0xE0                 ? 2
                             : lead < 0xF0                 ? 3
                                                           : 4;
  char32_t character = length <= 1 ? lead : lead & (0x7Fu >> length);
  std::size_t taken = 1;
  for (; taken < length && taken < text.size(); ++taken) {
    const auto next = static_cast<unsigned char>(text[taken]);
    if ((next & 0xC0) != 0x80) break;
    character = character << 6 | (next & 0x3Fu);
  }
  text.remove_prefix(taken);
  const bool valid = taken == length && character >= smallest[length] && character <= 0x10FFFF;
  return valid ? character : replacementCharacter;
}

void appendUtf8(std::string& text, char32_t c) {
  const auto tail = [&](int shift) { text += static_cast<char>(0x80u | (c >> shift & 0x3Fu)); };
  if (c < 0x80) {
    text += static_cast<char>(c);
  } else if (c < 0x800) {
    text += static_cast<char>(0xC0u | c >> 6);
    tail(0);
  } else if (c < 0x10000) {
    text += static_cast<char>(0xE0u | c >> 12);
    tail(6);
    tail(0);
  } else {
    text += static_cast<char>(0xF0u | c >> 18);
    tail(12);
    tail(6);
    tail(0);
  }
}

std::string toModifiedUtf8(std::string_view utf8) {
  std::string modified;
  while (!utf8.empty()) {
    const char32_t c = takeCharacter(utf8);
    if (c >= 0x10000) {
      appendUtf8(modified, 0xD800 + ((c - 0x10000) >> 10));
      appendUtf8(modified, 0xDC00 + ((c - 0x10000) & 0x3FF));
    } else {
      appendUtf8(modified, isHighSurrogate(c) || isLowSurrogate(c) ? replacementCharacter : c);
    }
  }
  return modified;
}

std::string fromModifiedUtf8(std::string_view modified) {
  std::string utf8;
  while (!modified.empty()) {
    char32_t c = takeCharacter(modified);
    if (isHighSurrogate(c) && !modified.empty()) {
      std::string_view rest = modified;
      const char32_t low = takeCharacter(rest);
      if (isLowSurrogate(low)) {
        c = 0x10000 + ((c - 0xD800) << 10) + (low - 0xDC00);
        modified = rest;
      }
    }
    appendUtf8(utf8, isHighSurrogate(c) || isLowSurrogate(c) ? replacementCharacter : c);
  }
  return utf8;
}

}  // namespace

JavaText::JavaText(const char* utf8)
    : LocalRef(utf8 == nullptr ? nullptr
               : isAscii(utf8) ? made(jniEnv->NewStringUTF(utf8))
                               : made(jniEnv->NewStringUTF(toModifiedUtf8(utf8).c_str()))) {}

std::string utf8Of(jstring text) {
  const auto release = [text](const char* characters) {
    jniEnv->ReleaseStringUTFChars(text, characters);
  };
  const std::unique_ptr<const char, decltype(release)> characters(
      made(jniEnv->GetStringUTFChars(text, nullptr)), release);
  if (characters == nullptr) return {};
  const std::string_view modified = characters.get();
  return isAscii(modified) ? std::string(modified) : fromModifiedUtf8(modified);
}
