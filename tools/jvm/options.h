// The options that JVMs are started with.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

// The options that every JVM of ours gets, with zelvox.jar before the user's class path, and behind
// them the user's, as `java` takes them ("-Xmx1g", "-Dname=value").
std::vector<std::string> jvmOptions(const std::vector<std::filesystem::path>& classPath,
                                    const std::vector<std::string>& users);

// Options for a JVM in which one thread makes much and keeps little: the collector that needs no
// threads of its own, which would take cores from other processes, and a heap that begins small and
// grows with what is kept. None when the user, or a variable that every JVM reads, says something
// about heap or collector.
std::vector<std::string> smallHeapOptions(const std::vector<std::string>& users);
