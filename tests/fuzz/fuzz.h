// What all targets share: a reader may refuse a text with a Failure, and do nothing else but read
// it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "ending/failure.h"

inline void require(bool holds, const char* promise) {
  if (holds) return;
  std::fprintf(stderr, "broken promise: %s\n", promise);
  std::abort();
}

// What else is thrown ends the process, which is a finding.
template <class Read>
void readOrRefuse(const std::uint8_t* data, std::size_t size, Read read) {
  try {
    read(std::string_view(reinterpret_cast<const char*>(data), size));
  } catch (const Failure& failure) {
    const std::string_view sentence = failure.what();
    require(!sentence.empty(), "a refusal has a reason");
    require(sentence.find('\n') == sentence.npos, "a refusal is one line");
    require(failure.exitCode == ExitCode::failed, "a bad file is no usage error");
  }
}
