#include "base/failure.h"

#include <unistd.h>

#include <cstdio>

#include "base/text.h"

void warn(const std::string& sentence) {
  // A progress bar may stand in the line.
  const char* const clear = isatty(STDERR_FILENO) != 0 ? "\r\x1b[K" : "";
  std::fprintf(stderr, "%szelvox: warning: %s\n", clear, printable(sentence).c_str());
}
