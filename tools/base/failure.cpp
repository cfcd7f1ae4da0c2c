#include "base/failure.h"

#include <unistd.h>

#include <cstdio>

#include "base/text.h"

void warn(const std::string& text) {
  // A progress bar may stand in the line.
  const char* const clear = isatty(STDERR_FILENO) != 0 ? "\r\x1b[K" : "";
  std::fprintf(stderr, "%szelvox: warning: %s\n", clear, sentence(text).c_str());
}
