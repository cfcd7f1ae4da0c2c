// The JVM of the process.
#pragma once

// Creates the JVM; the calling thread, which is to be the main thread, stays attached. Ends the
// process with preload::noJvmExitCode and one sentence when that fails. The locale of the process
// is the same afterwards, and nobody ever destroys the JVM: that would wait for Java's threads.
void startJvm(const char* library, const char* options);
