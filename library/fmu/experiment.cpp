// Experiment setup, initialization and termination.
#include "bridge/model_calls.h"
#include "fmu/exported_call.h"

namespace {

// Java refused: its reason is the whole message. The state stays, so the importer may try again.
fmi2Status logRefusal(const FmuInstance& instance) {
  logMessage(instance, fmi2Error, LogCategory::logFmiCall, asFormat(lastErrorText()).c_str());
  return fmi2Error;
}

}  // namespace

fmi2Status fmi2SetupExperiment(fmi2Component c, fmi2Boolean toleranceDefined, fmi2Real tolerance,
                               fmi2Real startTime, fmi2Boolean stopTimeDefined, fmi2Real stopTime) {
  return exportedCall(c, rules::setupExperiment, [=](FmuInstance& instance) {
    logTrace(instance, "fmi2SetupExperiment: toleranceDefined=%d tolerance=%g", toleranceDefined,
             tolerance);
    instance.time = startTime;
    if (!j_setupExperiment(instance.instanceName, stopTimeDefined != fmi2False, startTime,
                           stopTime))
      return logRefusal(instance);
    return fmi2OK;
  });
}

fmi2Status fmi2EnterInitializationMode(fmi2Component c) {
  return exportedCall(c, rules::enterInitializationMode, [](FmuInstance& instance) {
    logTrace(instance, "fmi2EnterInitializationMode");
    instance.state = InstanceState::InitializationMode;
    return fmi2OK;
  });
}

fmi2Status fmi2ExitInitializationMode(fmi2Component c) {
  return exportedCall(c, rules::exitInitializationMode, [](FmuInstance& instance) {
    logTrace(instance, "fmi2ExitInitializationMode");
    if (!j_initializeModel(instance.instanceName)) return logRefusal(instance);
    refreshOutputs(instance);  // before the state changes: outputs are fetched only in this one
    if (instance.type == fmi2ModelExchange) {
      instance.state = InstanceState::EventMode;
      instance.newEventIteration = 1;
    } else {
      instance.state = InstanceState::StepComplete;
    }
    return fmi2OK;
  });
}

fmi2Status fmi2Terminate(fmi2Component c) {
  return exportedCall(c, rules::terminate, [](FmuInstance& instance) {
    logTrace(instance, "fmi2Terminate");
    instance.state = InstanceState::Terminated;
    j_terminate(instance.instanceName);
    return fmi2OK;
  });
}
