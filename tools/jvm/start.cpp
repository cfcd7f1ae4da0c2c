#include "jvm/start.h"

#include <dlfcn.h>
#include <unistd.h>

#include <clocale>
#include <csetjmp>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <sstream>

#include "ending/failure.h"
#include "ending/interrupts.h"

namespace {

// The start while it goes on. What the JVM says is kept, so that a refusal becomes one sentence.
struct Start {
  std::mutex mutex;  // several threads of the JVM may speak
  bool running = false;
  std::string said;
  std::jmp_buf giveUp;
  pid_t thread = 0;
};

// Never freed: the JVM's threads can outlive the static objects of this program.
Start& start = *new Start;

// The JVM's "vfprintf". Later it bypasses the buffers of stdio, and leaves stdout to the program.
jint JNICALL hear(FILE*, const char* format, va_list arguments) {
  const std::lock_guard lock(start.mutex);
  if (!start.running) return vdprintf(STDERR_FILENO, format, arguments);
  char* text = nullptr;
  const int length = vasprintf(&text, format, arguments);
  if (length < 0) return length;
  start.said += text;
  std::free(text);
  return length;
}

// The JVM's "abort". Some failures to start end the process, with everything left lying that the
// caller has to clear away. So the JVM's way out leads back into createVm(); the JVM is never used
// again. Later it is called for crashes, which are the JVM's to report.
void JNICALL giveUp() {
  if (start.running && gettid() == start.thread) std::longjmp(start.giveUp, 1);
}

// The JVM's "exit". When it comes later, Java code ends the process, which is no success of ours.
void JNICALL exited(jint code) {
  giveUp();
  endIsSaid = true;
  std::fprintf(stderr, "zelvox: Java code ended the process with exit code %d\n", code);
  std::exit(code != 0 ? code : static_cast<int>(ExitCode::failed));
}

// A function of its own without objects to destroy: giveUp() jumps here.
jint createVm(decltype(&JNI_CreateJavaVM) create, void** env, JavaVMInitArgs* arguments) {
  JavaVM* vm = nullptr;
  if (setjmp(start.giveUp) != 0) return JNI_ERR;
  return create(&vm, env, arguments);
}

// The JVM's own reason, without the lines that say nothing.
std::string reasonFor(jint result) {
  std::string reason;
  std::istringstream lines(start.said);
  for (std::string line; std::getline(lines, line);) {
    if (line.empty() || line.starts_with("Picked up ") || line.starts_with("Error occurred during"))
      continue;
    reason += (reason.empty() ? "" : "; ") + line;
  }
  return reason.empty() ? "JNI error " + std::to_string(result) : reason;
}

}  // namespace

JNIEnv* startJvm(const std::string& libjvm, std::vector<std::string> options) {
  // As in `java`, the JVM is global: also whoever looks JNI_GetCreatedJavaVMs up there finds it.
  void* const handle = dlopen(libjvm.c_str(), RTLD_NOW | RTLD_GLOBAL);
  const auto create =
      handle == nullptr
          ? nullptr
          : reinterpret_cast<decltype(&JNI_CreateJavaVM)>(dlsym(handle, "JNI_CreateJavaVM"));
  if (create == nullptr)
    throw Failure(std::string("cannot load the JVM (") + dlerror() +
                      "): set JAVA_HOME to a JDK or JRE for this machine",
                  ExitCode::noJvm);

  // The hooks come first: the JVM takes its options in order, and complains about each at once.
  std::vector<JavaVMOption> list = {{const_cast<char*>("vfprintf"), reinterpret_cast<void*>(hear)},
                                    {const_cast<char*>("exit"), reinterpret_cast<void*>(exited)},
                                    {const_cast<char*>("abort"), reinterpret_cast<void*>(giveUp)}};
  for (std::string& option : options) list.push_back({option.data(), nullptr});
  JavaVMInitArgs arguments{JNI_VERSION_1_8, static_cast<jint>(list.size()), list.data(), JNI_FALSE};

  // Java takes on the user's locale, for the whole process. A program that never asked for one
  // would read and write its numbers with decimal commas.
  const std::string locale = std::setlocale(LC_ALL, nullptr);
  start.thread = gettid();
  start.running = true;
  void* env = nullptr;
  const jint result = createVm(create, &env, &arguments);
  std::setlocale(LC_ALL, locale.c_str());
  const std::lock_guard lock(start.mutex);
  start.running = false;
  if (result != JNI_OK)
    throw Failure("the JVM " + libjvm + " did not start (" + reasonFor(result) +
                      "): check --jvm-option and JAVA_TOOL_OPTIONS",
                  ExitCode::noJvm);
  std::fputs(start.said.c_str(), stderr);
  return static_cast<JNIEnv*>(env);
}
