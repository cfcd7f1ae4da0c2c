// Which programs take what is preloaded. Without malloc: exec is allowed in signal handlers.
#pragma once

// Why the program in this file, or the interpreter of this script, starts without the preloaded
// objects, for a sentence "PROGRAM ... and runs without a JVM"; null when it takes them or when the
// file cannot be read. The path is one for openat(); the empty one is the descriptor itself.
const char* whyNotPreloaded(int directory, const char* path) noexcept;

// The same for a name that is looked for on the PATH, as execvp does.
const char* whyNotPreloadedOnPath(const char* name) noexcept;

// Says so on stderr.
void sayWithoutJvm(const char* program, const char* why) noexcept;
