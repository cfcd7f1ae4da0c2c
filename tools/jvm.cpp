#include "jvm.h"

#include <dlfcn.h>
#include <unistd.h>

#include <array>
#include <clocale>
#include <csetjmp>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <sstream>

#include "base/failure.h"

namespace fs = std::filesystem;

namespace {

// Where a JDK or JRE keeps its libjvm.so, newest layout first; the last is a JRE 8 by itself.
constexpr std::array libjvmPlaces = {"lib/server/libjvm.so", "jre/lib/amd64/server/libjvm.so",
                                     "lib/amd64/server/libjvm.so"};

// A file that belongs to this program, relative to the directory of the executable.
struct Companion {
  const char* name;
  const char* installed;
  const char* built;
};

constexpr Companion jar = {"zelvox.jar", ZELVOX_INSTALLED_JARS "/zelvox.jar", "../java/zelvox.jar"};
constexpr Companion library = {"zelvox.so", ZELVOX_INSTALLED_LIBRARIES "/zelvox.so",
                               "../zelvox.so"};
constexpr Companion preload = {"zelvox-preload.so",
                               ZELVOX_INSTALLED_LIBRARIES "/zelvox/zelvox-preload.so",
                               "preload/zelvox-preload.so"};

fs::path find(const Companion& companion) {
  const fs::path here = fs::read_symlink("/proc/self/exe").parent_path();
  const fs::path installed = (here / companion.installed).lexically_normal();
  const fs::path built = (here / companion.built).lexically_normal();
  for (const fs::path& candidate : {installed, built})
    if (fs::is_regular_file(candidate)) return candidate;
  throw Failure(std::string(companion.name) + " is missing, expected it at " + installed.string() +
                "; install zelvox again");
}

// The empty path when the directory is not the home of a JVM.
fs::path libjvmOf(const fs::path& home) {
  std::error_code ignored;
  for (const char* place : libjvmPlaces)
    if (fs::is_regular_file(home / place, ignored)) return home / place;
  return {};
}

// The start of the JVM while it goes on. What the JVM says is kept, so that a refusal becomes one
// sentence.
struct Start {
  bool running = false;
  std::string output;
  std::jmp_buf giveUp;
  pid_t thread = 0;
};

Start start;

// The JVM's "vfprintf". Later, too, stdout is left to the command.
jint hear(FILE*, const char* format, va_list arguments) {
  if (!start.running) return vdprintf(STDERR_FILENO, format, arguments);
  char* text = nullptr;
  const int length = vasprintf(&text, format, arguments);
  if (length < 0) return length;
  start.output += text;
  std::free(text);
  return length;
}

// Some failures to start end the process, with everything left lying that the caller has to clear
// away. So the JVM's way out leads back into createVm(); the JVM is never used again.
void giveUp() {
  if (start.running && gettid() == start.thread) std::longjmp(start.giveUp, 1);
}

// The JVM's "exit". When it comes later, Java code ends the process, which is no success of ours.
void exited(jint code) {
  giveUp();
  std::fprintf(stderr, "zelvox: Java code ended the process with exit code %d\n", code);
  std::exit(code != 0 ? code : static_cast<int>(ExitCode::failed));
}

// A function of its own without objects to destroy: giveUp() jumps here.
jint createVm(decltype(&JNI_CreateJavaVM) create, JavaVM** vm, void** env,
              JavaVMInitArgs* arguments) {
  if (setjmp(start.giveUp) != 0) return JNI_ERR;
  return create(vm, env, arguments);
}

// The JVM's own reason, without the lines that say nothing.
std::string reasonOf(const std::string& output, jint result) {
  std::string reason;
  std::istringstream lines(output);
  for (std::string line; std::getline(lines, line);) {
    if (line.empty() || line.starts_with("Picked up ") || line.starts_with("Error occurred during"))
      continue;
    reason += (reason.empty() ? "" : "; ") + line;
  }
  return reason.empty() ? "JNI error " + std::to_string(result) + ", check JAVA_TOOL_OPTIONS"
                        : reason;
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
  throw Failure("no JVM found: JAVA_HOME is not set and there is no usable java on the PATH" +
                    passedOver + "; install default-jre-headless or set JAVA_HOME",
                ExitCode::noJvm);
}

std::vector<std::string> jvmOptions(const std::vector<fs::path>& classPath) {
  std::string paths;
  for (const fs::path& path : classPath) paths += (paths.empty() ? "" : ":") + path.string();
  return {"-Djava.class.path=" + paths,
          "-Xss8m",  // the JVM's guard pages would otherwise cap the main thread's stack at 1 MiB
          "-Xrs",    // Ctrl-C has to reach the program, Python for instance
          // Without signals the JVM opens its attach socket at once, and a program that is killed
          // or replaces itself leaves that and the performance file behind.
          "-XX:+DisableAttachMechanism", "-XX:-UsePerfData",
          "-XX:-MaxFDLimit"};  // the program's limits are not the JVM's to raise
}

JNIEnv* startJvm(const JvmLocation& location, const std::vector<fs::path>& classPath,
                 const std::vector<std::string>& options) {
  void* const handle = dlopen(location.libjvm.c_str(), RTLD_NOW | RTLD_GLOBAL);
  if (handle == nullptr)
    throw Failure("the JVM cannot be loaded: " + std::string(dlerror()), ExitCode::noJvm);
  const auto create =
      reinterpret_cast<decltype(&JNI_CreateJavaVM)>(dlsym(handle, "JNI_CreateJavaVM"));
  if (create == nullptr) throw Failure(location.libjvm.string() + " is not a JVM", ExitCode::noJvm);

  std::vector<std::string> texts = jvmOptions(classPath);
  texts.insert(texts.end(), options.begin(), options.end());
  std::vector<JavaVMOption> vmOptions = {
      {const_cast<char*>("vfprintf"), reinterpret_cast<void*>(hear)},
      {const_cast<char*>("exit"), reinterpret_cast<void*>(exited)},
      {const_cast<char*>("abort"), reinterpret_cast<void*>(giveUp)}};
  for (std::string& text : texts) vmOptions.push_back({text.data(), nullptr});
  JavaVMInitArgs arguments{};
  arguments.version = JNI_VERSION_1_8;
  arguments.nOptions = static_cast<jint>(vmOptions.size());
  arguments.options = vmOptions.data();

  // Java takes on the user's locale, for the whole process: FMUs would print decimal commas.
  const std::string locale = std::setlocale(LC_ALL, nullptr);
  start.thread = gettid();
  start.running = true;
  JavaVM* vm = nullptr;
  void* env = nullptr;
  const jint result = createVm(create, &vm, &env, &arguments);
  start.running = false;
  std::setlocale(LC_ALL, locale.c_str());
  if (result != JNI_OK)
    throw Failure("the JVM of " + location.javaHome.string() +
                      " could not be started: " + reasonOf(start.output, result),
                  ExitCode::noJvm);
  std::fputs(start.output.c_str(), stderr);
  return static_cast<JNIEnv*>(env);
}

fs::path zelvoxJar() {
  return find(jar);
}

fs::path zelvoxLibrary() {
  return find(library);
}

fs::path preloadLibrary() {
  return find(preload);
}
