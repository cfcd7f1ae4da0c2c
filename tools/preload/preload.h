// What `zelvox exec` and zelvox-preload.so, the object that it preloads, agree on.
//
// `zelvox exec` puts the variables below into its environment, adds its objects to LD_PRELOAD and
// replaces itself by the program. The object then creates the JVM in the program's main thread,
// which stays attached, before main() and the program's own static constructors run. It takes the
// variables and the objects out of the environment first: neither main() nor a child process sees
// them. A JVM that cannot be created ends the process with one sentence, as in any command.
//
// When the process replaces its own image (exec without fork, as `env`, a console script's shell or
// a pyenv shim does), the variables are put back, so that the program at the end of such a chain
// has the JVM. Programs that do nothing but run others, shells above all, get none themselves, nor
// do those that bring a JVM of their own. A program that takes no preloaded objects gets no
// variables. A wrapper that starts the program as its child (a script without "exec", a debugger)
// ends the chain: there the program has a JVM only with ZELVOX_PRELOAD_FOLLOW.
//
// Without ZELVOX_JVM_LIBRARY the object does nothing.
#pragma once

namespace preload {

// The path of libjvm.so.
inline constexpr const char* jvmLibrary = "ZELVOX_JVM_LIBRARY";

// The options of the JVM in the form that JNI_CreateJavaVM takes, each ended by a newline or the
// end of the text; an option therefore has no newline in it. Empty ones do not count.
inline constexpr const char* jvmOptions = "ZELVOX_JVM_OPTIONS";

// The entries, separated by ':', that `zelvox exec` itself added to LD_PRELOAD, which are to leave
// it again: libjsig.so if the JVM has one, and zelvox-preload.so. They belong behind the user's
// entries, since libasan insists on being first. A path with ':', a blank or '$' cannot be
// preloaded.
inline constexpr const char* objects = "ZELVOX_PRELOAD_OBJECTS";

// "1": everything stays in the environment, and every child process starts a JVM of its own.
inline constexpr const char* follow = "ZELVOX_PRELOAD_FOLLOW";

// "1": only the main thread is attached to the JVM, and not each thread that the program starts.
inline constexpr const char* mainThreadOnly = "ZELVOX_PRELOAD_MAIN_THREAD_ONLY";

}  // namespace preload
