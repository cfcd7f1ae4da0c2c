// How large the model is. Java is asked each time, as it may change its mind.
#include <charconv>
#include <cstdlib>

#include "bridge.h"
#include "java_calls.h"

namespace {

// A text that does not begin with a number counts as 0; a number too large keeps its low 32 bits.
std::int32_t askCount(const char* instanceName, const char* key) {
  const std::string text = j_getProp(instanceName, key);
  std::int32_t count = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), count);
  // Nearly always a plain number. strtol knows the rest, but shows in a single fmi2SetReal.
  if (error == std::errc() && *end == '\0') return count;
  return static_cast<std::int32_t>(std::strtol(text.c_str(), nullptr, 10));
}

}  // namespace

std::int32_t getNumberOfReals(const char* instanceName) {
  return askCount(instanceName, "number_of_reals");
}

std::int32_t getNumberOfInputs(const char* instanceName) {
  return askCount(instanceName, "number_of_inputs");
}

std::int32_t getNumberOfOutputs(const char* instanceName) {
  return askCount(instanceName, "number_of_outputs");
}
