// The frame of every exported function that takes an instance: a NULL handle and a call out of
// sequence are refused, and no C++ exception reaches the importer, whose stack may be C, Python or
// Java.
#pragma once

#include <new>
#include <utility>

#include "call_rules.h"
#include "logging.h"

// An exception left a call half done: out of memory, or a callback of the importer that threw.
inline fmi2Status abandonCall(FmuInstance& instance, const CallRule& rule,
                              const char* format) noexcept {
  instance.state = InstanceState::Error;
  try {
    logError(instance, format, rule.function);
  } catch (...) {  // the logger itself throws: nobody is left to be told
  }
  return fmi2Error;
}

// Runs `body`, an fmi2Status(FmuInstance&), if the handle and the state allow the call.
template <class Body>
fmi2Status checkedCall(fmi2Component c, const CallRule& rule, Body&& body) noexcept {
  if (c == nullptr) return fmi2Error;
  auto& instance = *static_cast<FmuInstance*>(c);
  try {
    return stateAllows(instance, rule) ? body(instance) : fmi2Error;
  } catch (const std::bad_alloc&) {
    return abandonCall(instance, rule, "%s: Out of memory.");
  } catch (...) {
    return abandonCall(instance, rule, "%s: A callback of the importer threw an exception.");
  }
}

// All that most exported functions consist of. fmi2SetReal has something to do before the checks.
template <class Body>
fmi2Status exportedCall(fmi2Component c, const CallRule& rule, Body&& body) noexcept {
  exceptionMayPend = true;
  return checkedCall(c, rule, std::forward<Body>(body));
}
