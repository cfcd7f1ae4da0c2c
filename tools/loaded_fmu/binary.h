// The binary of an unpacked FMU: where it is, and its functions.
#pragma once

#include <filesystem>

#include "fmi2FunctionTypes.h"
#include "fmu_file/model_description.h"

// The functions of a binary. Every FMU has them; only those that repeat a run need `reset`, which
// is null where it is missing.
struct FmuFunctions {
  fmi2GetVersionTYPE* getVersion;
  fmi2InstantiateTYPE* instantiate;
  fmi2FreeInstanceTYPE* freeInstance;
  fmi2ResetTYPE* reset;
  fmi2SetupExperimentTYPE* setupExperiment;
  fmi2EnterInitializationModeTYPE* enterInitializationMode;
  fmi2ExitInitializationModeTYPE* exitInitializationMode;
  fmi2TerminateTYPE* terminate;
  fmi2DoStepTYPE* doStep;
  fmi2GetBooleanStatusTYPE* getBooleanStatus;
  fmi2GetRealTYPE* getReal;
  fmi2GetIntegerTYPE* getInteger;
  fmi2GetBooleanTYPE* getBoolean;
  fmi2GetStringTYPE* getString;
  fmi2SetRealTYPE* setReal;
  fmi2SetIntegerTYPE* setInteger;
  fmi2SetBooleanTYPE* setBoolean;
  fmi2SetStringTYPE* setString;
};

// The binary of an unpacked FMU for this platform. Throws Failure when there is none.
std::filesystem::path fmuBinary(const std::filesystem::path& directory,
                                const ModelDescription& model);

// Whether it is linked to libjvm.so, or asks for the JVM of its process. A binary that loads a JVM
// of its own does neither, and could not if there was another one.
bool needsJvm(const std::filesystem::path& binary);

// Loads the binary and finds its functions. Throws Failure when it cannot be loaded or lacks one.
FmuFunctions loadBinary(const std::filesystem::path& binary);
