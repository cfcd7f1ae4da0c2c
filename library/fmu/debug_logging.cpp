// The importer's choice of messages.
#include <algorithm>
#include <cstring>
#include <iterator>

#include "fmu/exported_call.h"

fmi2Status fmi2SetDebugLogging(fmi2Component c, fmi2Boolean loggingOn, size_t nCategories,
                               const fmi2String categories[]) {
  const auto& rule = rules::setDebugLogging;
  return exportedCall(c, rule, [=, &rule](FmuInstance& instance) {
    if (nCategories > 0 && !pointerGiven(instance, rule.function, "categories", categories))
      return fmi2Error;
    instance.loggingOn = loggingOn;
    logTrace(instance, "fmi2SetDebugLogging");
    std::ranges::fill(instance.logCategories, nCategories == 0 ? loggingOn : fmi2False);
    for (size_t i = 0; i < nCategories; ++i) {
      const fmi2String name = categories[i] != nullptr ? categories[i] : "(null)";
      const auto found = std::ranges::find_if(
          logCategoryNames, [name](const char* known) { return std::strcmp(name, known) == 0; });
      if (found != std::end(logCategoryNames)) {
        instance.logCategories[found - std::begin(logCategoryNames)] = loggingOn;
      } else {
        // Sent even if its category is off, as this very call may have switched it off.
        callLogger(*instance.functions, instance.componentEnvironment, instance.instanceName,
                   fmi2Warning, "logError", "logging category '%s' is not supported by model",
                   name);
      }
    }
    return fmi2OK;
  });
}
