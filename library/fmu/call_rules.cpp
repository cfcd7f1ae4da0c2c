#include "fmu/call_rules.h"

#include "fmu/logging.h"

bool stateAllows(FmuInstance& instance, const CallRule& rule) {
  if (contains(rule.allowed, instance.state)) return true;
  instance.state = InstanceState::Error;
  logError(instance, "%s: Illegal call sequence.", rule.function);
  return false;
}

bool pointerGiven(FmuInstance& instance, const char* function, const char* argument,
                  const void* pointer) {
  if (pointer != nullptr) return true;
  instance.state = InstanceState::Error;
  logError(instance, "%s: Invalid argument %s = NULL.", function, argument);
  return false;
}

bool countIs(FmuInstance& instance, const char* function, const char* argument, std::size_t count,
             std::size_t expected) {
  if (count == expected) return true;
  instance.state = InstanceState::Error;
  logError(instance, "%s: Invalid argument %s = %d. Expected %d.", function, argument,
           static_cast<int>(count), static_cast<int>(expected));
  return false;
}
