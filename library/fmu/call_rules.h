// Which function may be called in which state, and which ones may reach Java, as one table, and the
// checks that every exported function begins with.
//
// The states are those of FMI 2.0 (figures in sections 3.2.3 and 4.2.4). Initialization follows
// instantiation; then an instance of co-simulation waits for steps in StepComplete, one of model
// exchange changes between EventMode and ContinuousTimeMode, and either may end in Terminated. A
// reset leads back to Instantiated, and nothing else leads out of Error.
//
// Each check answers whether the call may go on. One that fails puts the instance into
// InstanceState::Error and tells the importer why; nothing else has happened by then.
#pragma once

#include <cstddef>

#include "instance/fmu_instance.h"

struct CallRule {
  const char* function;      // as messages name it
  InstanceState allowed;     // OR of the states
  bool reachesJava = false;  // and is refused while another thread is in such a call
};

namespace rules {

using enum InstanceState;

inline constexpr InstanceState anyState = Instantiated | InitializationMode | EventMode |
                                          ContinuousTimeMode | StepComplete | StepInProgress |
                                          StepFailed | StepCanceled | Terminated | Error;
inline constexpr InstanceState notStepping = Instantiated | InitializationMode | EventMode |
                                             ContinuousTimeMode | StepComplete | StepFailed |
                                             StepCanceled | Terminated | Error;
inline constexpr InstanceState readable = InitializationMode | EventMode | ContinuousTimeMode |
                                          StepComplete | StepFailed | StepCanceled | Terminated |
                                          Error;
inline constexpr InstanceState discretelySettable =
    Instantiated | InitializationMode | EventMode | StepComplete;
inline constexpr InstanceState stepped = StepComplete | StepInProgress | StepFailed | Terminated;
inline constexpr InstanceState evaluated = EventMode | ContinuousTimeMode | Terminated | Error;

inline constexpr InstanceState noInstance{};
inline constexpr bool java = true;

// clang-format off
inline constexpr CallRule
    instantiate                    {"fmi2Instantiate", noInstance, java},
    setDebugLogging                {"fmi2SetDebugLogging", anyState},
    freeInstance                   {"fmi2FreeInstance", notStepping, java},
    reset                          {"fmi2Reset", notStepping},
    setupExperiment                {"fmi2SetupExperiment", Instantiated, java},
    enterInitializationMode        {"fmi2EnterInitializationMode", Instantiated},
    exitInitializationMode         {"fmi2ExitInitializationMode", InitializationMode, java},
    terminate                      {"fmi2Terminate", EventMode | ContinuousTimeMode | StepComplete | StepFailed, java},

    getReal                        {"fmi2GetReal", readable, java},
    getInteger                     {"fmi2GetInteger", readable, java},
    getBoolean                     {"fmi2GetBoolean", readable, java},
    getString                      {"fmi2GetString", readable, java},
    setReal                        {"fmi2SetReal", discretelySettable | ContinuousTimeMode, java},
    setInteger                     {"fmi2SetInteger", discretelySettable},
    setBoolean                     {"fmi2SetBoolean", discretelySettable},
    setString                      {"fmi2SetString", discretelySettable},

    getFMUstate                    {"fmi2GetFMUstate", notStepping},
    setFMUstate                    {"fmi2SetFMUstate", notStepping},
    freeFMUstate                   {"fmi2FreeFMUstate", notStepping},
    serializedFMUstateSize         {"fmi2SerializedFMUstateSize", notStepping},
    serializeFMUstate              {"fmi2SerializeFMUstate", notStepping},
    deSerializeFMUstate            {"fmi2DeSerializeFMUstate", notStepping},
    getDirectionalDerivative       {"fmi2GetDirectionalDerivative", readable},

    setRealInputDerivatives        {"fmi2SetRealInputDerivatives", Instantiated | InitializationMode | StepComplete},
    getRealOutputDerivatives       {"fmi2GetRealOutputDerivatives", StepComplete | StepFailed | StepCanceled | Terminated | Error},
    doStep                         {"fmi2DoStep", StepComplete, java},
    cancelStep                     {"fmi2CancelStep", StepInProgress},
    getStatus                      {"fmi2GetStatus", stepped},
    getRealStatus                  {"fmi2GetRealStatus", stepped},
    getIntegerStatus               {"fmi2GetIntegerStatus", stepped},
    getBooleanStatus               {"fmi2GetBooleanStatus", stepped},
    getStringStatus                {"fmi2GetStringStatus", stepped},

    enterEventMode                 {"fmi2EnterEventMode", EventMode | ContinuousTimeMode},
    newDiscreteStates              {"fmi2NewDiscreteStates", EventMode},
    enterContinuousTimeMode        {"fmi2EnterContinuousTimeMode", EventMode},
    completedIntegratorStep        {"fmi2CompletedIntegratorStep", ContinuousTimeMode},
    setTime                        {"fmi2SetTime", EventMode | ContinuousTimeMode},
    setContinuousStates            {"fmi2SetContinuousStates", ContinuousTimeMode},
    getEventIndicators             {"fmi2GetEventIndicators", evaluated | InitializationMode},
    getContinuousStates            {"fmi2GetContinuousStates", evaluated | InitializationMode},
    getDerivatives                 {"fmi2GetDerivatives", evaluated},
    getNominalsOfContinuousStates  {"fmi2GetNominalsOfContinuousStates", evaluated | Instantiated};
// clang-format on

}  // namespace rules

bool stateAllows(FmuInstance& instance, const CallRule& rule);

// `argument` is the name that the message shows, with "[]" for an array.
bool pointerGiven(FmuInstance& instance, const char* function, const char* argument,
                  const void* pointer);

bool countIs(FmuInstance& instance, const char* function, const char* argument, std::size_t count,
             std::size_t expected);
