// How large the model is. Java is asked each time, as its answer may change.
#include <cstdlib>

#include "bridge/java_calls.h"
#include "bridge/model_calls.h"

namespace {

// A text that does not begin with a number counts as 0; a number too large keeps its low 32 bits.
std::int32_t askCount(const char* instanceName, const char* key) {
  return static_cast<std::int32_t>(std::strtol(j_getProp(instanceName, key).c_str(), nullptr, 10));
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
