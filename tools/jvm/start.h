// The start of the JVM of this process, for the commands as for the preloaded object: which JVM and
// with which options is the caller's.
#pragma once

#include <jni.h>

#include <string>
#include <vector>

// Creates the JVM, with the calling thread attached; a process can do this once, and nobody ever
// destroys the JVM: that would wait for Java's threads. The locale of the process is the same
// afterwards, and the JVM's messages go to stderr. When Java code ends the process, a sentence says
// so, and the exit code is never 0. Throws Failure (noJvm) with the JVM's own reason.
JNIEnv* startJvm(const std::string& libjvm, std::vector<std::string> options);
