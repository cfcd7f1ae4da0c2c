// What fmu/ may ask of the Java side. Nothing here needs jni.h.
//
// All of it works on state that exists once per loaded library (jvm_access.h), without a lock: one
// thread at a time, which JavaTurn in fmu/ sees to. Failures travel as results; the reason is in
// lastErrorText() or j_getLastError.
#pragma once

#include <cstdint>
#include <string>

#include "fmu_instance.h"

struct JNIEnv_;
class _jclass;

// With what the bridge calls Java: both are null outside of a bracket, and each may be null inside.
struct JavaAccess {
  JNIEnv_* env = nullptr;       // of the calling thread
  _jclass* simClass = nullptr;  // a local reference of the innermost bracket
};

// Java code and callbacks may call the library again. The inner call begins as if no bracket were
// open and gives the outer one its access back at its end.
JavaAccess setAccessAside() noexcept;
void giveAccessBack(const JavaAccess& outer) noexcept;

// The calling thread has an environment of the JVM for as long as a bracket lives: a thread that
// was not attached is attached by the outermost bracket and detached when that one ends. An inner
// bracket leaves the outer one's access valid.
//
// Attaching costs some ten microseconds, and on a thread that a bracket attached, FindClass sees
// the class path of the JVM only, not the class loader of whoever loaded the importer.
class JniBracket {
 public:
  JniBracket() noexcept;
  ~JniBracket();
  JniBracket(const JniBracket&) = delete;
  JniBracket& operator=(const JniBracket&) = delete;

 private:
  JavaAccess outer;
  bool attached;  // by this bracket, which therefore detaches
};

// Stands around each call of an importer's callback, which may use Java on this thread itself:
// leave an exception, or detach the thread. Within a bracket the access is given up before and
// found anew after; whether anything happened in between is not asked.
class CallbackGuard {
 public:
  // `ours`: the bridge is in the hands of the calling thread.
  explicit CallbackGuard(bool ours) noexcept;
  ~CallbackGuard();
  CallbackGuard(const CallbackGuard&) = delete;
  CallbackGuard& operator=(const CallbackGuard&) = delete;

 private:
  bool inBracket;
};

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

// The model's dimensions, asked of Java at every call; 0 when it gives none, and as negative as it
// says. With nOut outputs and nIn inputs, FmuInstance::reals holds by value reference: the outputs
// from 0, their mirror from nOut, the inputs from 2 nOut, and from 2 nOut + nIn what else the model
// lets the importer set.
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
