// The children that this process forks. They have the JVM's memory and none of its threads: a call
// that needs one of those would wait forever.
#pragma once

#include <jni.h>

// From now on nobody reaches this JVM in a forked child: each thread there is one that is not
// attached and cannot be. The first call that asks for the JVM says so on stderr. To be called
// once, also by zelvox.start_jvm, which finds it by its name.
extern "C" void zelvoxCloseJvmToForks(JavaVM* jvm) noexcept;

// Whether this process is such a child.
bool isForked() noexcept;
