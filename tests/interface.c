/* The headers in plain C: everything that an importer written in C may call. What this file needs
 * is compared with what the library exports. */
#include <stdint.h>

#include "fmi2Functions.h"

extern const int32_t* getver(void);

typedef void (*Function)(void);

#define F(name) ((Function)fmi2##name)

/* clang-format off */
const Function functions[] = {
    F(GetTypesPlatform), F(GetVersion), F(SetDebugLogging), F(Instantiate), F(FreeInstance),
    F(SetupExperiment), F(EnterInitializationMode), F(ExitInitializationMode), F(Terminate),
    F(Reset), F(GetReal), F(GetInteger), F(GetBoolean), F(GetString), F(SetReal), F(SetInteger),
    F(SetBoolean), F(SetString), F(GetFMUstate), F(SetFMUstate), F(FreeFMUstate),
    F(SerializedFMUstateSize), F(SerializeFMUstate), F(DeSerializeFMUstate),
    F(GetDirectionalDerivative), F(EnterEventMode), F(NewDiscreteStates),
    F(EnterContinuousTimeMode), F(CompletedIntegratorStep), F(SetTime), F(SetContinuousStates),
    F(GetDerivatives), F(GetEventIndicators), F(GetContinuousStates),
    F(GetNominalsOfContinuousStates), F(SetRealInputDerivatives), F(GetRealOutputDerivatives),
    F(DoStep), F(CancelStep), F(GetStatus), F(GetRealStatus), F(GetIntegerStatus),
    F(GetBooleanStatus), F(GetStringStatus), (Function)getver};
/* clang-format on */

/* The layout that importers compiled with other headers of FMI 2.0 count on. */
typedef char sizesAreRight[sizeof(fmi2EventInfo) == 32 && sizeof(fmi2CallbackFunctions) == 40 &&
                                   sizeof(fmi2Boolean) == 4 && sizeof(fmi2Status) == 4
                               ? 1
                               : -1];
