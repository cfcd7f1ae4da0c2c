#include "jvm/options.h"

#include <cstdlib>

#include "files/installation.h"

namespace fs = std::filesystem;

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
