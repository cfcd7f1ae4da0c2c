#include "fmu/logging.h"

std::string asFormat(const std::string& text) {
  std::string format;
  format.reserve(text.size());
  for (const char character : text) {
    format += character;
    if (character == '%') format += character;
  }
  return format;
}
