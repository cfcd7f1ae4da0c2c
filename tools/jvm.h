// The JVM that a command uses: which one, why that one, and how it is started in this process.
#pragma once

#include <jni.h>

#include <filesystem>
#include <string>
#include <vector>

struct JvmLocation {
  std::filesystem::path libjvm;    // libjvm.so
  std::filesystem::path javaHome;  // the directory with bin/ and lib/
  std::string reason;              // why this one: "JAVA_HOME is set", "java on the PATH"
};

// JAVA_HOME decides, then the `java` on the PATH. Throws Failure (noJvm) that says what was looked
// for and what to do.
JvmLocation locateJvm();

// The options that every JVM of ours gets before the user's.
std::vector<std::string> jvmOptions(const std::vector<std::filesystem::path>& classPath);

// Creates the JVM, with the calling thread attached; a process can do this once. Throws Failure
// (noJvm) with the JVM's own reason. The JVM prints nothing to stdout. `options` as `java` takes
// them ("-Xmx1g", "-Dname=value").
JNIEnv* startJvm(const JvmLocation& location, const std::vector<std::filesystem::path>& classPath,
                 const std::vector<std::string>& options);

// What was installed (or built) with this program: found relative to the executable, both in an
// installation and in a build tree. Each throws Failure when its file is missing.
std::filesystem::path zelvoxJar();
std::filesystem::path zelvoxLibrary();
std::filesystem::path preloadLibrary();
