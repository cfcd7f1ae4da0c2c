// The one way by which a message of an instance reaches the importer's logger. Formats and their
// arguments are handed over unchanged; the importer does the formatting.
#pragma once

#include <cstddef>
#include <string>

#include "bridge/jni_bracket.h"
#include "fmu/java_turn.h"
#include "instance/fmu_instance.h"

// The index of a category's switch in FmuInstance::logCategories. logAll is only a switch: it turns
// every category on.
enum class LogCategory : std::size_t { logAll, logError, logFmiCall, logEvent };

inline constexpr const char* logCategoryNames[numberOfLogCategories] = {"logAll", "logError",
                                                                        "logFmiCall", "logEvent"};

inline bool categoryIsOn(const FmuInstance& instance, LogCategory category) {
  const auto index = static_cast<std::size_t>(category);
  return index < numberOfLogCategories &&
         (instance.logCategories[index] != 0 || instance.logCategories[0] != 0);
}

// The only place that calls an importer's logger. Not inlined: most calls send nothing.
template <class... Arguments>
[[gnu::noinline]] void callLogger(const fmi2CallbackFunctions& functions,
                                  fmi2ComponentEnvironment environment, fmi2String instanceName,
                                  fmi2Status status, const char* category, const char* format,
                                  Arguments... arguments) {
  const CallbackGuard guard(JavaTurn::isOurs());
  functions.logger(environment, instanceName, status, category, format, arguments...);
}

// Errors are always sent; everything else only when its category is on.
template <class... Arguments>
void logMessage(const FmuInstance& instance, fmi2Status status, LogCategory category,
                const char* format, Arguments... arguments) {
  if (status != fmi2Error && !categoryIsOn(instance, category)) return;
  callLogger(*instance.functions, instance.functions->componentEnvironment, instance.instanceName,
             status, logCategoryNames[static_cast<std::size_t>(category)], format, arguments...);
}

template <class... Arguments>
void logTrace(const FmuInstance& instance, const char* format, Arguments... arguments) {
  logMessage(instance, fmi2OK, LogCategory::logFmiCall, format, arguments...);
}

template <class... Arguments>
void logError(const FmuInstance& instance, const char* format, Arguments... arguments) {
  logMessage(instance, fmi2Error, LogCategory::logError, format, arguments...);
}

// A format that prints `text` as it stands: every "%" is doubled.
std::string asFormat(const std::string& text);
