// The co-simulation step, which is always synchronous, and the status queries about it.
#include <iterator>

#include "bridge/model_calls.h"
#include "fmu/exported_call.h"

namespace {

struct StatusKind {
  const char* name;
  const char* refusal;
};

// By fmi2StatusKind.
constexpr StatusKind statusKinds[] = {
    {"fmi2DoStepStatus",
     "%s: Can be called with fmi2DoStepStatus when fmi2DoStep returned fmi2Pending. This is not "
     "the case."},
    {"fmi2PendingStatus",
     "%s: Can be called with fmi2PendingStatus when fmi2DoStep returned fmi2Pending. This is not "
     "the case."},
    {"fmi2LastSuccessfulTime",
     "%s: Can be called with fmi2LastSuccessfulTime when fmi2DoStep returned fmi2Discard. This is "
     "not the case."},
    {"fmi2Terminated",
     "%s: Can be called with fmi2Terminated when fmi2DoStep returned fmi2Discard. This is not the "
     "case."}};

// For every kind that a function does not answer itself.
fmi2Status queryStatus(const CallRule& rule, fmi2Component c, std::int32_t kind) {
  return exportedCall(c, rule, [kind, &rule](FmuInstance& instance) {
    const bool known = static_cast<std::uint32_t>(kind) < std::size(statusKinds);
    logTrace(instance, "%s: fmi2StatusKind = %s", rule.function,
             known ? statusKinds[kind].name : "unknown");
    if (known) logError(instance, statusKinds[kind].refusal, rule.function);
    return fmi2Discard;
  });
}

}  // namespace

fmi2Status fmi2DoStep(fmi2Component c, fmi2Real currentCommunicationPoint,
                      fmi2Real communicationStepSize,
                      fmi2Boolean noSetFMUStatePriorToCurrentPoint) {
  return exportedCall(c, rules::doStep, [=](FmuInstance& instance) {
    logTrace(instance,
             "fmi2DoStep: currentCommunicationPoint = %g, communicationStepSize = %g, "
             "noSetFMUStatePriorToCurrentPoint = fmi2%s",
             currentCommunicationPoint, communicationStepSize,
             noSetFMUStatePriorToCurrentPoint != fmi2False ? "True" : "False");
    if (communicationStepSize <= 0.0) {
      logError(instance, "fmi2DoStep: communication step size must be > 0. Fount %g.",
               communicationStepSize);
      instance.state = InstanceState::Error;
      return fmi2Error;
    }
    instance.time = currentCommunicationPoint;
    if (j_stepModel(instance, communicationStepSize) == fmi2OK) return fmi2OK;
    logError(instance, "Error: %s", j_getLastError().c_str());
    instance.state = InstanceState::Error;
    return fmi2Error;
  });
}

fmi2Status fmi2CancelStep(fmi2Component c) {
  return exportedCall(c, rules::cancelStep, [](FmuInstance& instance) {
    logTrace(instance, "fmi2CancelStep");
    logError(instance,
             "fmi2CancelStep: Can be called when fmi2DoStep returned fmi2Pending. This is not the "
             "case.");
    return fmi2Error;
  });
}

fmi2Status fmi2GetStatus(fmi2Component c, fmi2StatusKind s, fmi2Status* /*value*/) {
  return queryStatus(rules::getStatus, c, numberOf(s));
}

fmi2Status fmi2GetRealStatus(fmi2Component c, fmi2StatusKind s, fmi2Real* value) {
  const auto& rule = rules::getRealStatus;
  if (numberOf(s) != fmi2LastSuccessfulTime) return queryStatus(rule, c, numberOf(s));
  return exportedCall(c, rule, [value, &rule](FmuInstance& instance) {
    if (!pointerGiven(instance, rule.function, "value", value)) return fmi2Error;
    *value = instance.time;
    return fmi2OK;
  });
}

fmi2Status fmi2GetIntegerStatus(fmi2Component c, fmi2StatusKind s, fmi2Integer* /*value*/) {
  return queryStatus(rules::getIntegerStatus, c, numberOf(s));
}

fmi2Status fmi2GetBooleanStatus(fmi2Component c, fmi2StatusKind s, fmi2Boolean* value) {
  const auto& rule = rules::getBooleanStatus;
  if (numberOf(s) != fmi2Terminated) return queryStatus(rule, c, numberOf(s));
  return exportedCall(c, rule, [value, &rule](FmuInstance& instance) {
    if (!pointerGiven(instance, rule.function, "value", value)) return fmi2Error;
    *value = instance.eventInfo.terminateSimulation;
    return fmi2OK;
  });
}

fmi2Status fmi2GetStringStatus(fmi2Component c, fmi2StatusKind s, fmi2String* /*value*/) {
  return queryStatus(rules::getStringStatus, c, numberOf(s));
}
