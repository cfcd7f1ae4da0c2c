// What is measured.
#pragma once

#include <vector>

#include "measuring.h"

// FMI calls by the library, by bare JNI calls and by the floor. Needs callCases.
std::vector<Case> operationCases();

// Each JNI call alone.
std::vector<Case> callCases();

// The Java side around the demonstration model, and the model alone.
std::vector<Case> javaCases();

// The loop on a thread that the JVM does not know.
Loop onForeignThread(Loop loop);
