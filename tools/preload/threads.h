// The threads of the program, which are attached to the JVM for their life.
#pragma once

#include <jni.h>

// From now on each thread that this process starts is attached, as a daemon, before it does
// anything, and detached after everything else. Left alone are the threads of the JVM, those of
// other preloaded objects, those of forked children, and those whose stack is too small for Java or
// the program's own.
void attachThreads(JavaVM* jvm) noexcept;
