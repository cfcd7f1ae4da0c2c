/* Enumerations, records and function types of the FMI 2.0 interface (FMI 2.0.4, sections 2.1, 3.2
 * and 4.2). An importer that loads an FMU at run time casts the addresses that the dynamic loader
 * gives it to the ...TYPE types at the end. */
#ifndef fmi2FunctionTypes_h
#define fmi2FunctionTypes_h

#include <stddef.h>

#include "fmi2TypesPlatform.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Outcome of a call, from best to worst, and "still computing". After fmi2Error the instance can be
 * reset or freed, after fmi2Fatal no instance of this FMU can be used. */
typedef enum { fmi2OK, fmi2Warning, fmi2Discard, fmi2Error, fmi2Fatal, fmi2Pending } fmi2Status;

/* What an instance is made for: the importer solves its equations, or it steps by itself. */
typedef enum { fmi2ModelExchange, fmi2CoSimulation } fmi2Type;

/* What a query asks for after a step that answered fmi2Pending or fmi2Discard. */
typedef enum {
  fmi2DoStepStatus,
  fmi2PendingStatus,
  fmi2LastSuccessfulTime,
  fmi2Terminated
} fmi2StatusKind;

/* The importer's functions. `message` is a printf format with its arguments. */
typedef void (*fmi2CallbackLogger)(fmi2ComponentEnvironment componentEnvironment,
                                   fmi2String instanceName, fmi2Status status, fmi2String category,
                                   fmi2String message, ...);
/* Gives `nobj` zero-filled objects of `size` bytes, or NULL. */
typedef void* (*fmi2CallbackAllocateMemory)(size_t nobj, size_t size);
/* Takes back what fmi2CallbackAllocateMemory gave; NULL is allowed. */
typedef void (*fmi2CallbackFreeMemory)(void* obj);
/* Tells the importer that an asynchronous fmi2DoStep has ended. */
typedef void (*fmi2StepFinished)(fmi2ComponentEnvironment componentEnvironment, fmi2Status status);

/* Must stay valid and unchanged until fmi2FreeInstance has returned. */
typedef struct {
  fmi2CallbackLogger logger;
  fmi2CallbackAllocateMemory allocateMemory;
  fmi2CallbackFreeMemory freeMemory;
  fmi2StepFinished stepFinished;
  fmi2ComponentEnvironment componentEnvironment;
} fmi2CallbackFunctions;

/* Result of one iteration of an event; another one follows while newDiscreteStatesNeeded. */
typedef struct {
  fmi2Boolean newDiscreteStatesNeeded;
  fmi2Boolean terminateSimulation;
  fmi2Boolean nominalsOfContinuousStatesChanged;
  fmi2Boolean valuesOfContinuousStatesChanged;
  fmi2Boolean nextEventTimeDefined;
  fmi2Real nextEventTime; /* valid if nextEventTimeDefined */
} fmi2EventInfo;

/* Platform, version and logging. These categories are switched, or all if nCategories is 0. */
typedef const char* fmi2GetTypesPlatformTYPE(void);
typedef const char* fmi2GetVersionTYPE(void);
typedef fmi2Status fmi2SetDebugLoggingTYPE(fmi2Component c, fmi2Boolean loggingOn,
                                           size_t nCategories, const fmi2String categories[]);

/* Life of an instance: made, told of the experiment, initialized, terminated, and reset for another
 * experiment or freed. Start values are set before and in initialization mode. */
typedef fmi2Component fmi2InstantiateTYPE(fmi2String instanceName, fmi2Type fmuType,
                                          fmi2String fmuGUID, fmi2String fmuResourceLocation,
                                          const fmi2CallbackFunctions* functions,
                                          fmi2Boolean visible, fmi2Boolean loggingOn);
typedef void fmi2FreeInstanceTYPE(fmi2Component c);
typedef fmi2Status fmi2SetupExperimentTYPE(fmi2Component c, fmi2Boolean toleranceDefined,
                                           fmi2Real tolerance, fmi2Real startTime,
                                           fmi2Boolean stopTimeDefined, fmi2Real stopTime);
typedef fmi2Status fmi2EnterInitializationModeTYPE(fmi2Component c);
typedef fmi2Status fmi2ExitInitializationModeTYPE(fmi2Component c);
typedef fmi2Status fmi2TerminateTYPE(fmi2Component c);
typedef fmi2Status fmi2ResetTYPE(fmi2Component c);

/* Values of variables: value[i] belongs to vr[i], i < nvr. */
typedef fmi2Status fmi2GetRealTYPE(fmi2Component c, const fmi2ValueReference vr[], size_t nvr,
                                   fmi2Real value[]);
typedef fmi2Status fmi2GetIntegerTYPE(fmi2Component c, const fmi2ValueReference vr[], size_t nvr,
                                      fmi2Integer value[]);
typedef fmi2Status fmi2GetBooleanTYPE(fmi2Component c, const fmi2ValueReference vr[], size_t nvr,
                                      fmi2Boolean value[]);
typedef fmi2Status fmi2GetStringTYPE(fmi2Component c, const fmi2ValueReference vr[], size_t nvr,
                                     fmi2String value[]);
typedef fmi2Status fmi2SetRealTYPE(fmi2Component c, const fmi2ValueReference vr[], size_t nvr,
                                   const fmi2Real value[]);
typedef fmi2Status fmi2SetIntegerTYPE(fmi2Component c, const fmi2ValueReference vr[], size_t nvr,
                                      const fmi2Integer value[]);
typedef fmi2Status fmi2SetBooleanTYPE(fmi2Component c, const fmi2ValueReference vr[], size_t nvr,
                                      const fmi2Boolean value[]);
typedef fmi2Status fmi2SetStringTYPE(fmi2Component c, const fmi2ValueReference vr[], size_t nvr,
                                     const fmi2String value[]);

/* Saved states, also as bytes, and directional derivatives: dvUnknown is the derivative of the
 * unknowns by the knowns, times dvKnown. The FMU's description says whether it has these. */
typedef fmi2Status fmi2GetFMUstateTYPE(fmi2Component c, fmi2FMUstate* FMUstate);
typedef fmi2Status fmi2SetFMUstateTYPE(fmi2Component c, fmi2FMUstate FMUstate);
typedef fmi2Status fmi2FreeFMUstateTYPE(fmi2Component c, fmi2FMUstate* FMUstate);
typedef fmi2Status fmi2SerializedFMUstateSizeTYPE(fmi2Component c, fmi2FMUstate FMUstate,
                                                  size_t* size);
typedef fmi2Status fmi2SerializeFMUstateTYPE(fmi2Component c, fmi2FMUstate FMUstate,
                                             fmi2Byte serializedState[], size_t size);
typedef fmi2Status fmi2DeSerializeFMUstateTYPE(fmi2Component c, const fmi2Byte serializedState[],
                                               size_t size, fmi2FMUstate* FMUstate);
typedef fmi2Status fmi2GetDirectionalDerivativeTYPE(fmi2Component c,
                                                    const fmi2ValueReference vUnknown_ref[],
                                                    size_t nUnknown,
                                                    const fmi2ValueReference vKnown_ref[],
                                                    size_t nKnown, const fmi2Real dvKnown[],
                                                    fmi2Real dvUnknown[]);

/* Model exchange. In continuous-time mode the importer sets time and states and integrates the
 * derivatives; when an event indicator changes its sign, or at an event of time or step, it enters
 * event mode and iterates. nx and ni are the numbers that the description gives. */
typedef fmi2Status fmi2EnterEventModeTYPE(fmi2Component c);
typedef fmi2Status fmi2NewDiscreteStatesTYPE(fmi2Component c, fmi2EventInfo* eventInfo);
typedef fmi2Status fmi2EnterContinuousTimeModeTYPE(fmi2Component c);
typedef fmi2Status fmi2CompletedIntegratorStepTYPE(fmi2Component c,
                                                   fmi2Boolean noSetFMUStatePriorToCurrentPoint,
                                                   fmi2Boolean* enterEventMode,
                                                   fmi2Boolean* terminateSimulation);
typedef fmi2Status fmi2SetTimeTYPE(fmi2Component c, fmi2Real time);
typedef fmi2Status fmi2SetContinuousStatesTYPE(fmi2Component c, const fmi2Real x[], size_t nx);
typedef fmi2Status fmi2GetDerivativesTYPE(fmi2Component c, fmi2Real derivatives[], size_t nx);
typedef fmi2Status fmi2GetEventIndicatorsTYPE(fmi2Component c, fmi2Real eventIndicators[],
                                              size_t ni);
typedef fmi2Status fmi2GetContinuousStatesTYPE(fmi2Component c, fmi2Real states[], size_t nx);
typedef fmi2Status fmi2GetNominalsOfContinuousStatesTYPE(fmi2Component c, fmi2Real x_nominal[],
                                                         size_t nx);

/* Co-simulation. Between two communication points the instance computes alone: a step begins where
 * the last one ended, at currentCommunicationPoint, and gets its inputs before. */
typedef fmi2Status fmi2SetRealInputDerivativesTYPE(fmi2Component c, const fmi2ValueReference vr[],
                                                   size_t nvr, const fmi2Integer order[],
                                                   const fmi2Real value[]);
typedef fmi2Status fmi2GetRealOutputDerivativesTYPE(fmi2Component c, const fmi2ValueReference vr[],
                                                    size_t nvr, const fmi2Integer order[],
                                                    fmi2Real value[]);
typedef fmi2Status fmi2DoStepTYPE(fmi2Component c, fmi2Real currentCommunicationPoint,
                                  fmi2Real communicationStepSize,
                                  fmi2Boolean noSetFMUStatePriorToCurrentPoint);
typedef fmi2Status fmi2CancelStepTYPE(fmi2Component c);
typedef fmi2Status fmi2GetStatusTYPE(fmi2Component c, fmi2StatusKind s, fmi2Status* value);
typedef fmi2Status fmi2GetRealStatusTYPE(fmi2Component c, fmi2StatusKind s, fmi2Real* value);
typedef fmi2Status fmi2GetIntegerStatusTYPE(fmi2Component c, fmi2StatusKind s, fmi2Integer* value);
typedef fmi2Status fmi2GetBooleanStatusTYPE(fmi2Component c, fmi2StatusKind s, fmi2Boolean* value);
typedef fmi2Status fmi2GetStringStatusTYPE(fmi2Component c, fmi2StatusKind s, fmi2String* value);

#ifdef __cplusplus
}
#endif

#endif
