// The way into the process: between the dynamic loader and main().
#include "preload/preload.h"

#include <dlfcn.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <sstream>
#include <string_view>

#include "ending/failure.h"
#include "jvm/start.h"
#include "preload/carried.h"
#include "preload/code_owner.h"
#include "preload/forks.h"
#include "preload/threads.h"

namespace {

// Programs that only run others, where a JVM would be in vain, and those that bring their own.
constexpr std::array<std::string_view, 18> withoutJvm{
    "bash", "chrt",  "dash", "env",     "fish",   "ionice", "jspawnhelper", "ksh93",  "mksh",
    "nice", "nohup", "sh",   "setpriv", "setsid", "stdbuf", "taskset",      "zelvox", "zsh"};

// Asked of the kernel: argv[0] is the caller's choice, and /bin/sh a link. `java`, `javac` and all
// that a JDK brings beside them share a launcher.
bool needsNoJvm() noexcept {
  if (dlsym(RTLD_DEFAULT, "JLI_Launch") != nullptr) return true;
  std::error_code unknown;
  const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", unknown);
  return std::find(withoutJvm.begin(), withoutJvm.end(), program.filename()) != withoutJvm.end();
}

std::vector<std::string> linesOf(const char* text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);)
    if (!line.empty()) lines.push_back(line);
  return lines;
}

void startJvm(const Carried& carried) noexcept {
  try {
    setJvm(carried.jvmLibrary);
    JNIEnv* const env = ::startJvm(carried.jvmLibrary, linesOf(carried.jvmOptions));
    JavaVM* vm = nullptr;
    env->GetJavaVM(&vm);
    zelvoxCloseJvmToForks(vm);
    if (carried.attachesThreads) attachThreads(vm);
  } catch (const Failure& failure) {
    std::fprintf(stderr, "zelvox exec: %s\n", failure.what());
    _exit(static_cast<int>(failure.exitCode));
  }
}

}  // namespace

extern "C" {

using Main = int (*)(int, char**, char**);
using Hook = void (*)();

// At this point the constructors of all libraries have run, so that other preloaded objects are at
// work, and those of the program have not: its static objects end before the JVM's do.
[[gnu::visibility("default")]] int __libc_start_main(Main main, int argc, char** argv, Hook init,
                                                     Hook fini, Hook loaderFini, void* stackEnd) {
  const Carried carried = takeFromEnvironment();
  if (carried.jvmLibrary != nullptr && !needsNoJvm()) startJvm(carried);
  const auto next =
      reinterpret_cast<decltype(&__libc_start_main)>(dlsym(RTLD_NEXT, "__libc_start_main"));
  return next(main, argc, argv, init, fini, loaderFini, stackEnd);
}

}  // extern "C"
