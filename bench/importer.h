// What an importer brings: a JVM, and instances of the double in java/, which are as large as their
// names say.
#pragma once

#include <jni.h>

#include <cstddef>
#include <string>
#include <vector>

#include "fmi2Functions.h"

// Everything here fails by ending the program with a sentence: a benchmark goes on only when all is
// well.
[[noreturn]] void fail(const std::string& sentence);

// The calling thread is attached to it from then on.
JNIEnv* startJvm(std::vector<std::string> options);

// As the library looks it up at every call.
JavaVM* findJvm();

// Formats every message as an importer does, and keeps the last one.
void logMessage(fmi2ComponentEnvironment, fmi2String instanceName, fmi2Status status,
                fmi2String category, fmi2String format, ...);

void check(fmi2Status status);

// "3 2 first": 3 inputs, 2 outputs.
std::string modelName(std::size_t inputs, std::size_t outputs, const std::string& name);

// Instantiated and initialized, ready to step.
fmi2Component startInstance(const std::string& name, bool loggingOn);
