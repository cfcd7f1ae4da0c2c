// Functions whose answer does not depend on the model: the platform queries, saved states and
// derivatives, which are not supported, and model exchange, where the model has no continuous
// states and one event indicator that is always 0.
#include <algorithm>
#include <array>
#include <cstdint>

#include "fmu/exported_call.h"

namespace {

constexpr size_t numberOfContinuousStates = 0;
constexpr size_t numberOfEventIndicators = 1;

constexpr std::array<std::int32_t, 4> versionRecord = {6, 1, 0, 96};

fmi2Status notImplemented(fmi2Component c, const CallRule& rule) {
  return exportedCall(c, rule, [&rule](FmuInstance& instance) {
    logTrace(instance, rule.function);
    logError(instance, "%s: Function not implemented.", rule.function);
    return fmi2Error;
  });
}

// An array with one element per continuous state, of which there are none.
fmi2Status stateArray(fmi2Component c, const CallRule& rule, const char* argument,
                      const fmi2Real array[], size_t nx) {
  return exportedCall(c, rule, [=, &rule](FmuInstance& instance) {
    return countIs(instance, rule.function, "nx", nx, numberOfContinuousStates) &&
                   pointerGiven(instance, rule.function, argument, array)
               ? fmi2OK
               : fmi2Error;
  });
}

}  // namespace

const char* fmi2GetTypesPlatform() {
  return fmi2TypesPlatform;
}

const char* fmi2GetVersion() {
  return fmi2Version;
}

// Four numbers that identify the library's interface to its tools; they live as long as the library
// is loaded.
extern "C" FMI2_Export const std::int32_t* getver() {
  return versionRecord.data();
}

fmi2Status fmi2GetFMUstate(fmi2Component c, fmi2FMUstate* /*FMUstate*/) {
  return notImplemented(c, rules::getFMUstate);
}

fmi2Status fmi2SetFMUstate(fmi2Component c, fmi2FMUstate /*FMUstate*/) {
  return notImplemented(c, rules::setFMUstate);
}

fmi2Status fmi2FreeFMUstate(fmi2Component c, fmi2FMUstate* /*FMUstate*/) {
  return notImplemented(c, rules::freeFMUstate);
}

fmi2Status fmi2SerializedFMUstateSize(fmi2Component c, fmi2FMUstate /*FMUstate*/,
                                      size_t* /*size*/) {
  return notImplemented(c, rules::serializedFMUstateSize);
}

fmi2Status fmi2SerializeFMUstate(fmi2Component c, fmi2FMUstate /*FMUstate*/,
                                 fmi2Byte /*serializedState*/[], size_t /*size*/) {
  return notImplemented(c, rules::serializeFMUstate);
}

fmi2Status fmi2DeSerializeFMUstate(fmi2Component c, const fmi2Byte /*serializedState*/[],
                                   size_t /*size*/, fmi2FMUstate* /*FMUstate*/) {
  return notImplemented(c, rules::deSerializeFMUstate);
}

fmi2Status fmi2GetDirectionalDerivative(fmi2Component c, const fmi2ValueReference /*vUnknown*/[],
                                        size_t /*nUnknown*/, const fmi2ValueReference /*vKnown*/[],
                                        size_t /*nKnown*/, const fmi2Real /*dvKnown*/[],
                                        fmi2Real /*dvUnknown*/[]) {
  return notImplemented(c, rules::getDirectionalDerivative);
}

fmi2Status fmi2SetRealInputDerivatives(fmi2Component c, const fmi2ValueReference /*vr*/[],
                                       size_t nvr, const fmi2Integer /*order*/[],
                                       const fmi2Real /*value*/[]) {
  return exportedCall(c, rules::setRealInputDerivatives, [nvr](FmuInstance& instance) {
    logTrace(instance, "fmi2SetRealInputDerivatives: nvr= %d", static_cast<int>(nvr));
    logError(instance,
             "fmi2SetRealInputDerivatives: ignoring function call. This model cannot interpolate "
             "inputs: canInterpolateInputs=\"fmi2False\"");
    return fmi2Error;
  });
}

fmi2Status fmi2GetRealOutputDerivatives(fmi2Component c, const fmi2ValueReference /*vr*/[],
                                        size_t nvr, const fmi2Integer /*order*/[],
                                        fmi2Real value[]) {
  const auto& rule = rules::getRealOutputDerivatives;
  return exportedCall(c, rule, [=, &rule](FmuInstance& instance) {
    if (nvr > 0 && !pointerGiven(instance, rule.function, "value[]", value)) return fmi2Error;
    logTrace(instance, "fmi2GetRealOutputDerivatives: nvr= %d", static_cast<int>(nvr));
    logError(instance,
             "fmi2GetRealOutputDerivatives: ignoring function call. This model cannot compute "
             "derivatives of outputs: MaxOutputDerivativeOrder=\"0\"");
    std::fill_n(value, nvr, 0.0);
    return fmi2Error;
  });
}

fmi2Status fmi2EnterEventMode(fmi2Component c) {
  return exportedCall(c, rules::enterEventMode, [](FmuInstance& instance) {
    logTrace(instance, "fmi2EnterEventMode");
    instance.state = InstanceState::EventMode;
    instance.newEventIteration = 1;
    return fmi2OK;
  });
}

fmi2Status fmi2NewDiscreteStates(fmi2Component c, fmi2EventInfo* eventInfo) {
  const auto& rule = rules::newDiscreteStates;
  return exportedCall(c, rule, [=, &rule](FmuInstance& instance) {
    if (!pointerGiven(instance, rule.function, "eventInfo", eventInfo)) return fmi2Error;
    logTrace(instance, "fmi2NewDiscreteStates");
    instance.newEventIteration = 0;
    const fmi2Real nextEventTime = instance.eventInfo.nextEventTime;
    instance.eventInfo = {};
    instance.eventInfo.nextEventTime = nextEventTime;
    *eventInfo = instance.eventInfo;
    return fmi2OK;
  });
}

fmi2Status fmi2EnterContinuousTimeMode(fmi2Component c) {
  return exportedCall(c, rules::enterContinuousTimeMode, [](FmuInstance& instance) {
    logTrace(instance, "fmi2EnterContinuousTimeMode");
    instance.state = InstanceState::ContinuousTimeMode;
    return fmi2OK;
  });
}

fmi2Status fmi2CompletedIntegratorStep(fmi2Component c,
                                       fmi2Boolean /*noSetFMUStatePriorToCurrentPoint*/,
                                       fmi2Boolean* enterEventMode,
                                       fmi2Boolean* terminateSimulation) {
  const auto& rule = rules::completedIntegratorStep;
  return exportedCall(c, rule, [=, &rule](FmuInstance& instance) {
    if (!pointerGiven(instance, rule.function, "enterEventMode", enterEventMode) ||
        !pointerGiven(instance, rule.function, "terminateSimulation", terminateSimulation))
      return fmi2Error;
    logTrace(instance, "fmi2CompletedIntegratorStep");
    *enterEventMode = fmi2False;
    *terminateSimulation = fmi2False;
    return fmi2OK;
  });
}

fmi2Status fmi2SetTime(fmi2Component c, fmi2Real time) {
  return exportedCall(c, rules::setTime, [time](FmuInstance& instance) {
    logTrace(instance, "fmi2SetTime: time=%.16g", time);
    instance.time = time;
    return fmi2OK;
  });
}

fmi2Status fmi2SetContinuousStates(fmi2Component c, const fmi2Real x[], size_t nx) {
  return stateArray(c, rules::setContinuousStates, "x[]", x, nx);
}

fmi2Status fmi2GetDerivatives(fmi2Component c, fmi2Real derivatives[], size_t nx) {
  return stateArray(c, rules::getDerivatives, "derivatives[]", derivatives, nx);
}

fmi2Status fmi2GetEventIndicators(fmi2Component c, fmi2Real eventIndicators[], size_t ni) {
  const auto& rule = rules::getEventIndicators;
  return exportedCall(c, rule, [=, &rule](FmuInstance& instance) {
    if (!countIs(instance, rule.function, "ni", ni, numberOfEventIndicators) ||
        !pointerGiven(instance, rule.function, "eventIndicators[]", eventIndicators))
      return fmi2Error;
    eventIndicators[0] = 0.0;
    logTrace(instance, "fmi2GetEventIndicators: z%d = %.16g", 0, eventIndicators[0]);
    return fmi2OK;
  });
}

fmi2Status fmi2GetContinuousStates(fmi2Component c, fmi2Real states[], size_t nx) {
  return stateArray(c, rules::getContinuousStates, "states[]", states, nx);
}

fmi2Status fmi2GetNominalsOfContinuousStates(fmi2Component c, fmi2Real x_nominal[], size_t nx) {
  // Its messages use this shorter name; only the refusal of its state names the function itself.
  constexpr const char* name = "fmi2GetNominalContinuousStates";
  return exportedCall(c, rules::getNominalsOfContinuousStates, [=](FmuInstance& instance) {
    if (!countIs(instance, name, "nx", nx, numberOfContinuousStates) ||
        !pointerGiven(instance, name, "x_nominal[]", x_nominal))
      return fmi2Error;
    std::fill_n(x_nominal, nx, 1.0);
    logTrace(instance, "fmi2GetNominalContinuousStates: x_nominal[0..%d] = 1.0",
             static_cast<int>(nx) - 1);
    return fmi2OK;
  });
}
