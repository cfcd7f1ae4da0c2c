// The frame of every exported function that takes an instance: a NULL handle, a call that overlaps
// another one and a call out of sequence are refused, and no C++ exception reaches the importer,
// whose stack may be C, Python or Java.
#pragma once

#include <new>

#include "fmu/call_rules.h"
#include "fmu/java_turn.h"
#include "fmu/logging.h"

inline constexpr const char* overlapMessage = "%s: The call overlaps another one.";

// Drops an exception of `work`: what follows must happen all the same, and nobody can be told.
template <class Work>
void shielded(Work work) noexcept {
  try {
    work();
  } catch (...) {
  }
}

inline fmi2Status failCall(const FmuInstance& instance, const CallRule& rule,
                           const char* format) noexcept {
  shielded([&] { logError(instance, format, rule.function); });
  return fmi2Error;
}

struct NothingHeld {};

// Runs `body`, an fmi2Status(FmuInstance&), if the handle, the other threads and the state allow
// the call. `Held` lives from before the checks until the call ends.
template <class Held = NothingHeld, class Body>
fmi2Status exportedCall(fmi2Component c, const CallRule& rule, Body&& body) noexcept {
  const JavaTurn turn(rule.reachesJava);
  auto* const instance = static_cast<FmuInstance*>(c);
  if (turn.refused())
    return instance != nullptr ? failCall(*instance, rule, overlapMessage) : fmi2Error;
  // Out of memory, or a callback of the importer that threw: the call is half done.
  const char* failure = "%s: Out of memory.";
  try {
    [[maybe_unused]] const Held held;
    if (instance == nullptr) return fmi2Error;
    return stateAllows(*instance, rule) ? body(*instance) : fmi2Error;
  } catch (const std::bad_alloc&) {
  } catch (...) {
    failure = "%s: A callback of the importer threw an exception.";
  }
  instance->state = InstanceState::Error;
  return failCall(*instance, rule, failure);
}
