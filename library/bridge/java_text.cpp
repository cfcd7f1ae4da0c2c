#include "bridge/java_text.h"

#include <utf8.h>

#include <cstdint>
#include <cstring>
#include <iterator>
#include <memory>
#include <string_view>

namespace {

constexpr std::uint32_t replacementCharacter = 0xFFFD;

// Eight bytes at a time: every name and every answer of Java passes here.
bool isAscii(std::string_view text) {
  constexpr std::uint64_t beyondAscii = 0x8080808080808080;
  std::uint64_t seen = 0;
  std::uint64_t chunk = 0;
  for (; text.size() >= sizeof chunk; text.remove_prefix(sizeof chunk)) {
    std::memcpy(&chunk, text.data(), sizeof chunk);
    seen |= chunk;
  }
  for (const char character : text) seen |= static_cast<unsigned char>(character);
  return (seen & beyondAscii) == 0;
}

std::string toModifiedUtf8(std::string_view given) {
  std::string utf8;
  utf8::replace_invalid(given.begin(), given.end(), std::back_inserter(utf8), replacementCharacter);
  std::string modified;
  const auto out = std::back_inserter(modified);
  for (auto at = utf8.cbegin(); at != utf8.cend();) {
    const std::uint32_t character = utf8::unchecked::next(at);
    if (character < 0x10000) {
      utf8::unchecked::append(character, out);
    } else {
      utf8::unchecked::append(0xD800 + ((character - 0x10000) >> 10), out);
      utf8::unchecked::append(0xDC00 + ((character - 0x10000) & 0x3FF), out);
    }
  }
  return modified;
}

constexpr bool isHighSurrogate(std::uint32_t unit) {
  return unit >= 0xD800 && unit < 0xDC00;
}
constexpr bool isLowSurrogate(std::uint32_t unit) {
  return unit >= 0xDC00 && unit < 0xE000;
}

// `modified` comes from the JVM, which lets no broken character through.
std::string fromModifiedUtf8(std::string_view modified) {
  std::string utf8;
  const auto out = std::back_inserter(utf8);
  std::uint32_t high = 0;  // a surrogate that waits for its other half
  for (auto at = modified.begin(); at != modified.end();) {
    const std::uint32_t unit = utf8::unchecked::next(at);
    if (high != 0 && isLowSurrogate(unit)) {
      utf8::unchecked::append(0x10000 + ((high - 0xD800) << 10) + (unit - 0xDC00), out);
      high = 0;
      continue;
    }
    if (high != 0) utf8::unchecked::append(replacementCharacter, out);
    high = isHighSurrogate(unit) ? unit : 0;
    if (high != 0) continue;
    const bool alone = unit == 0 || isLowSurrogate(unit);
    utf8::unchecked::append(alone ? replacementCharacter : unit, out);
  }
  if (high != 0) utf8::unchecked::append(replacementCharacter, out);
  return utf8;
}

jstring newString(const char* utf8) {
  if (utf8 == nullptr) return nullptr;
  return jniEnv->NewStringUTF(isAscii(utf8) ? utf8 : toModifiedUtf8(utf8).c_str());
}

}  // namespace

JavaText::JavaText(const char* utf8) : LocalRef(newString(utf8)) {}

std::string utf8Of(jstring text) {
  const auto release = [text](const char* characters) {
    jniEnv->ReleaseStringUTFChars(text, characters);
  };
  const std::unique_ptr<const char, decltype(release)> characters(
      jniEnv->GetStringUTFChars(text, nullptr), release);
  if (characters == nullptr) return {};
  return isAscii(characters.get()) ? characters.get() : fromModifiedUtf8(characters.get());
}
