// The get and set functions for variables. The model has reals only, so every reference to a
// variable of another type is refused.
#include <algorithm>

#include "bridge/jni_bracket.h"
#include "bridge/model_calls.h"
#include "fmu/exported_call.h"

namespace {

// Without value references the arrays are not looked at and may be NULL.
bool arraysGiven(FmuInstance& instance, const CallRule& rule, const fmi2ValueReference vr[],
                 size_t nvr, const void* value) {
  return nvr == 0 || (pointerGiven(instance, rule.function, "vr[]", vr) &&
                      pointerGiven(instance, rule.function, "value[]", value));
}

fmi2Boolean vrOutOfRange(FmuInstance& instance, const char* function, fmi2ValueReference vr,
                         fmi2ValueReference count) {
  if (vr < count) return fmi2False;
  logError(instance, "%s: Illegal value reference %u.", function, vr);
  instance.state = InstanceState::Error;
  return fmi2True;
}

// How many value references are valid: as many as Java's number_of_reals says, but no more than the
// array has elements, as that number may have grown since the array was made.
fmi2ValueReference validReals(const FmuInstance& instance, std::int32_t numberOfReals) {
  return static_cast<fmi2ValueReference>(
      std::clamp<std::int64_t>(numberOfReals, 0, instance.realsLength));
}

fmi2Real getReal(const FmuInstance& instance, fmi2ValueReference vr) {
  return instance.reals[vr];
}

// Not inlined, so that the first loop has the registers for itself.
[[gnu::noinline]] fmi2Status readReals(FmuInstance& instance, const fmi2ValueReference vr[],
                                       size_t nvr, fmi2Real value[], fmi2ValueReference count) {
  size_t i = 0;
  // Without a message there is no callback that could switch the trace on.
  if (!categoryIsOn(instance, LogCategory::logFmiCall))
    for (; i < nvr && vr[i] < count; ++i) value[i] = getReal(instance, vr[i]);
  for (; i < nvr; ++i) {
    if (vrOutOfRange(instance, rules::getReal.function, vr[i], count)) return fmi2Error;
    value[i] = getReal(instance, vr[i]);
    logTrace(instance, "fmi2GetReal: #r%u# = %.16g", vr[i], value[i]);
  }
  return fmi2OK;
}

fmi2Status getOtherType(fmi2Component c, const CallRule& rule, const fmi2ValueReference vr[],
                        size_t nvr, const void* value) {
  return exportedCall(c, rule, [=, &rule](FmuInstance& instance) {
    if (!arraysGiven(instance, rule, vr, nvr, value)) return fmi2Error;
    if (nvr == 0) return fmi2OK;
    refreshOutputs(instance);
    return vrOutOfRange(instance, rule.function, vr[0], 0) ? fmi2Error : fmi2OK;
  });
}

fmi2Status setOtherType(fmi2Component c, const CallRule& rule, const char* traceFormat,
                        const fmi2ValueReference vr[], size_t nvr, const void* value) {
  return exportedCall(c, rule, [=, &rule](FmuInstance& instance) {
    if (!arraysGiven(instance, rule, vr, nvr, value)) return fmi2Error;
    logTrace(instance, traceFormat, static_cast<int>(nvr));
    if (nvr == 0) return fmi2OK;
    return vrOutOfRange(instance, rule.function, vr[0], 0) ? fmi2Error : fmi2OK;
  });
}

}  // namespace

fmi2Status fmi2GetReal(fmi2Component c, const fmi2ValueReference vr[], size_t nvr,
                       fmi2Real value[]) {
  const auto& rule = rules::getReal;
  return exportedCall(c, rule, [=, &rule](FmuInstance& instance) {
    if (!arraysGiven(instance, rule, vr, nvr, value)) return fmi2Error;
    if (nvr > 0) refreshOutputs(instance);
    const std::int32_t numberOfReals = getNumberOfReals(instance.instanceName);
    if (numberOfReals <= 0) return fmi2OK;
    return readReals(instance, vr, nvr, value, validReals(instance, numberOfReals));
  });
}

fmi2Status fmi2SetReal(fmi2Component c, const fmi2ValueReference vr[], size_t nvr,
                       const fmi2Real value[]) {
  const auto& rule = rules::setReal;
  // One bracket, and so one attachment, serves all values.
  return exportedCall<JniBracket>(c, rule, [=, &rule](FmuInstance& instance) {
    if (!arraysGiven(instance, rule, vr, nvr, value)) return fmi2Error;
    logTrace(instance, "fmi2SetReal: nvr = %d", static_cast<int>(nvr));
    const fmi2ValueReference count = validReals(instance, getNumberOfReals(instance.instanceName));
    for (size_t i = 0; i < nvr; ++i) {
      if (vrOutOfRange(instance, rule.function, vr[i], count)) return fmi2Error;
      logTrace(instance, "fmi2SetReal: #r%d# = %.16g", static_cast<int>(vr[i]), value[i]);
      instance.reals[vr[i]] = value[i];
      j_setReal(instance.instanceName, vr[i], value[i]);
    }
    if (nvr > 0) instance.valuesDirty = 1;
    return fmi2OK;
  });
}

fmi2Status fmi2GetInteger(fmi2Component c, const fmi2ValueReference vr[], size_t nvr,
                          fmi2Integer value[]) {
  return getOtherType(c, rules::getInteger, vr, nvr, value);
}

fmi2Status fmi2GetBoolean(fmi2Component c, const fmi2ValueReference vr[], size_t nvr,
                          fmi2Boolean value[]) {
  return getOtherType(c, rules::getBoolean, vr, nvr, value);
}

fmi2Status fmi2GetString(fmi2Component c, const fmi2ValueReference vr[], size_t nvr,
                         fmi2String value[]) {
  return getOtherType(c, rules::getString, vr, nvr, value);
}

fmi2Status fmi2SetInteger(fmi2Component c, const fmi2ValueReference vr[], size_t nvr,
                          const fmi2Integer value[]) {
  return setOtherType(c, rules::setInteger, "fmi2SetInteger: nvr = %d", vr, nvr, value);
}

fmi2Status fmi2SetBoolean(fmi2Component c, const fmi2ValueReference vr[], size_t nvr,
                          const fmi2Boolean value[]) {
  return setOtherType(c, rules::setBoolean, "fmi2SetBoolean: nvr = %d", vr, nvr, value);
}

fmi2Status fmi2SetString(fmi2Component c, const fmi2ValueReference vr[], size_t nvr,
                         const fmi2String value[]) {
  return setOtherType(c, rules::setString, "fmi2SetString: nvr = %d", vr, nvr, value);
}
