#include "ending/failure.h"

#include <unistd.h>

#include <cstdio>
#include <new>

#include "words/text.h"

Failure failureOf(const std::exception& problem, const std::string& told) {
  const auto* const failure = dynamic_cast<const Failure*>(&problem);
  const bool noMemory = dynamic_cast<const std::bad_alloc*>(&problem) != nullptr;
  return Failure((noMemory ? "the memory does not suffice" : problem.what()) +
                     (told.empty() ? told : "; " + told),
                 failure != nullptr ? failure->exitCode : ExitCode::failed);
}

void warn(const std::string& text) {
  // A progress bar may stand in the line.
  const char* const clear = isatty(STDERR_FILENO) != 0 ? "\r\x1b[K" : "";
  std::fprintf(stderr, "%szelvox: warning: %s\n", clear, sentence(text).c_str());
}
