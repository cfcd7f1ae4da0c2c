// The binary of an unpacked FMU: where it is, and its functions.
#pragma once

#include <filesystem>

#include "fmi2FunctionTypes.h"
#include "fmu_file/model_description.h"

// Throws Failure when the library, loaded by loadBinary(), has no such function.
void* functionOf(void* library, const char* name);

template <class Type>
struct FmuFunction {
  FmuFunction(void* library, const char* its)
      : name(its), call(reinterpret_cast<Type*>(functionOf(library, its))) {}
  const char* name;
  Type* call;
};

// The functions that a binary needs to be run. Those that repeat a run need `fmi2Reset` as well.
struct FmuFunctions {
  void* library;

  FmuFunction<fmi2GetVersionTYPE> getVersion{library, "fmi2GetVersion"};
  FmuFunction<fmi2InstantiateTYPE> instantiate{library, "fmi2Instantiate"};
  FmuFunction<fmi2FreeInstanceTYPE> freeInstance{library, "fmi2FreeInstance"};
  FmuFunction<fmi2SetupExperimentTYPE> setupExperiment{library, "fmi2SetupExperiment"};
  FmuFunction<fmi2EnterInitializationModeTYPE> enterInitializationMode{
      library, "fmi2EnterInitializationMode"};
  FmuFunction<fmi2ExitInitializationModeTYPE> exitInitializationMode{library,
                                                                     "fmi2ExitInitializationMode"};
  FmuFunction<fmi2TerminateTYPE> terminate{library, "fmi2Terminate"};
  FmuFunction<fmi2DoStepTYPE> doStep{library, "fmi2DoStep"};
  FmuFunction<fmi2GetBooleanStatusTYPE> getBooleanStatus{library, "fmi2GetBooleanStatus"};
  FmuFunction<fmi2GetRealTYPE> getReal{library, "fmi2GetReal"};
  FmuFunction<fmi2GetIntegerTYPE> getInteger{library, "fmi2GetInteger"};
  FmuFunction<fmi2GetBooleanTYPE> getBoolean{library, "fmi2GetBoolean"};
  FmuFunction<fmi2GetStringTYPE> getString{library, "fmi2GetString"};
  FmuFunction<fmi2SetRealTYPE> setReal{library, "fmi2SetReal"};
  FmuFunction<fmi2SetIntegerTYPE> setInteger{library, "fmi2SetInteger"};
  FmuFunction<fmi2SetBooleanTYPE> setBoolean{library, "fmi2SetBoolean"};
  FmuFunction<fmi2SetStringTYPE> setString{library, "fmi2SetString"};
};

// The binary of an unpacked FMU for this platform. Throws Failure when there is none.
std::filesystem::path fmuBinary(const std::filesystem::path& directory,
                                const ModelDescription& model);

// Whether it is linked to libjvm.so, or asks for the JVM of its process. A binary that loads a JVM
// of its own does neither, and could not if there was another one.
bool needsJvm(const std::filesystem::path& binary);

// Throws Failure when it cannot be loaded. Never unloaded: an FMU may have started threads that
// still run its code.
void* loadBinary(const std::filesystem::path& binary);
