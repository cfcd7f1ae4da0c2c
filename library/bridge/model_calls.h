// What fmu/ asks of the model in Java. Nothing here needs jni.h.
//
// One thread at a time, as within brackets. Failures travel as results; the reason is in
// lastErrorText() or j_getLastError.
#pragma once

#include <cstdint>
#include <string>

#include "instance/fmu_instance.h"

// Finds the JVM and the simulation object and has Java create the instance. False: the reason is in
// lastErrorText(), empty when there is no JVM or the calling thread is not attached to it.
bool connectSimulation(const char* instanceName, const char* resourceLocation);

// Why the last connection, experiment setup or initialization failed; empty after a success.
const std::string& lastErrorText() noexcept;

// The text with which Java explains its last failure.
std::string j_getLastError();

// False: the reason is in lastErrorText().
bool j_setupExperiment(const char* instanceName, bool stopTimeDefined, double startTime,
                       double stopTime);
bool j_initializeModel(const char* instanceName);

// Needs a bracket of the caller's.
void j_setReal(const char* instanceName, fmi2ValueReference vr, double value);

void j_terminate(const char* instanceName);

// Also releases the simulation object, for every instance, until the next connection.
void j_freeInstance(const char* instanceName);

// The model's dimensions, asked of Java at every call; 0 when it gives none. A negative answer is
// passed on. With nOut outputs and nIn inputs, FmuInstance::reals holds by value reference: the
// outputs from 0, their mirror from nOut, the inputs from 2 nOut, and from 2 nOut + nIn what else
// the model lets the importer set.
std::int32_t getNumberOfReals(const char* instanceName);
std::int32_t getNumberOfInputs(const char* instanceName);
std::int32_t getNumberOfOutputs(const char* instanceName);

// Fetches the outputs (in initialization mode only; a step fetches its own) and mirrors them.
void updateOutputs(FmuInstance& instance);

inline void refreshOutputs(FmuInstance& instance) {
  if (instance.valuesDirty == 0) return;
  updateOutputs(instance);
  instance.valuesDirty = 0;
}

// One step of `communicationStepSize` seconds from the instance's time on, with the inputs as they
// stand in `reals`, where the new outputs land. fmi2Error: nothing was fetched, and j_getLastError
// may tell why.
fmi2Status j_stepModel(FmuInstance& instance, double communicationStepSize);
