// What an importer brings: a JVM, zelvox.so, and instances of the double in java/, which are as
// large as their names say.
#pragma once

#include <jni.h>

#include <cstddef>
#include <string>
#include <vector>

#include "fmi2Functions.h"

// Everything here fails by ending the program with a sentence: a benchmark goes on only when all is
// well.
[[noreturn]] void fail(const std::string& sentence);

void startJvm(std::vector<std::string> options);
JavaVM* jvm();

// Attaches the calling thread, if it is not, for good.
JNIEnv* attachForGood();

struct Library {
  fmi2InstantiateTYPE* instantiate;
  fmi2FreeInstanceTYPE* freeInstance;
  fmi2SetupExperimentTYPE* setupExperiment;
  fmi2EnterInitializationModeTYPE* enterInitializationMode;
  fmi2ExitInitializationModeTYPE* exitInitializationMode;
  fmi2SetRealTYPE* setReal;
  fmi2GetRealTYPE* getReal;
  fmi2DoStepTYPE* doStep;
};

// Loaded at the first use, which must come after startJvm.
const Library& library();

// Formats every message as an importer does, and keeps the last one.
void logMessage(fmi2ComponentEnvironment, fmi2String instanceName, fmi2Status status,
                fmi2String category, fmi2String format, ...);

void check(fmi2Status status);

// "3 2 first": 3 inputs, 2 outputs.
std::string modelName(std::size_t inputs, std::size_t outputs, const std::string& name);

// Instantiated and initialized, ready to step.
fmi2Component startInstance(const std::string& name, bool loggingOn);
