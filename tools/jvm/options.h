// The options that JVMs are started with.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

// The options that every JVM of ours gets, and behind them the user's: as `java` takes them
// ("-Xmx1g", "-Dname=value").
std::vector<std::string> jvmOptions(const std::vector<std::filesystem::path>& classPath,
                                    const std::vector<std::string>& users);
