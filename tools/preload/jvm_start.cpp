#include "jvm_start.h"

#include <dlfcn.h>
#include <jni.h>
#include <unistd.h>

#include <algorithm>
#include <clocale>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "preload.h"

namespace {

struct Start {
  std::mutex mutex;
  bool done = false;
  std::string said;  // by the JVM, until it is created
  std::string library;
};

// Never freed: the JVM's threads can outlive the static objects of this library.
Start& start() {
  static Start* const only = new Start;
  return *only;
}

std::vector<std::string> linesOf(std::string_view text) {
  std::vector<std::string> lines;
  while (!text.empty()) {
    const std::size_t length = std::min(text.find('\n'), text.size());
    if (length > 0) lines.emplace_back(text.substr(0, length));
    text.remove_prefix(std::min(length + 1, text.size()));
  }
  return lines;
}

[[noreturn]] void giveUp(const std::string& reason) {
  std::fprintf(stderr, "zelvox exec: %s\n", reason.c_str());
  _exit(preload::noJvmExitCode);
}

[[noreturn]] void giveUpCreating(const std::string& otherwise) {
  std::string reasons;
  for (const std::string& line : linesOf(start().said)) {
    if (line == "Error occurred during initialization of VM") continue;
    if (!reasons.empty()) reasons += "; ";
    reasons += line;
  }
  if (reasons.empty()) reasons = otherwise;
  giveUp("the JVM " + start().library + " did not start (" + reasons +
         "): check --jvm-option, --class-path and JAVA_TOOL_OPTIONS");
}

// The JVM's "vfprintf": what it says while it starts becomes part of our one sentence, or, when it
// did start, goes to stderr as a whole. Later it bypasses the buffers of stdio, as the JVM does.
jint JNICALL hear(FILE* stream, const char* format, va_list arguments) {
  Start& state = start();
  const std::lock_guard lock(state.mutex);
  if (state.done) return vdprintf(fileno(stream), format, arguments);
  char* text = nullptr;
  const int length = vasprintf(&text, format, arguments);
  if (length < 0) return length;
  state.said += text;
  std::free(text);
  return length;
}

// The JVM's "abort": some failures to start end the process instead of coming back as a result.
// Later it is called for crashes, which are the JVM's to report.
void JNICALL aborted() {
  if (!start().done) giveUpCreating("it says why itself");
}

}  // namespace

void startJvm(const char* library, const char* options) {
  Start& state = start();
  state.library = library;
  // As in `java`, the JVM is global: also whoever looks JNI_GetCreatedJavaVMs up there finds it.
  void* const handle = dlopen(library, RTLD_NOW | RTLD_GLOBAL);
  const auto create =
      handle == nullptr
          ? nullptr
          : reinterpret_cast<decltype(&JNI_CreateJavaVM)>(dlsym(handle, "JNI_CreateJavaVM"));
  if (create == nullptr)
    giveUp(std::string("cannot load the JVM (") + dlerror() +
           "): set JAVA_HOME to a JDK or JRE for this machine");

  // The hooks come first: the JVM takes its options in order, and complains about each at once.
  char vfprintfName[] = "vfprintf";
  char abortName[] = "abort";
  std::vector<JavaVMOption> list{{vfprintfName, reinterpret_cast<void*>(hear)},
                                 {abortName, reinterpret_cast<void*>(aborted)}};
  std::vector<std::string> texts = linesOf(options);
  for (std::string& text : texts) list.push_back({text.data(), nullptr});
  JavaVMInitArgs arguments{JNI_VERSION_1_8, static_cast<jint>(list.size()), list.data(), JNI_FALSE};

  // Java takes on the user's locale, for the whole process. A program that never asked for one
  // would read and write its numbers with decimal commas.
  const std::string locale = std::setlocale(LC_ALL, nullptr);
  JavaVM* vm = nullptr;
  void* env = nullptr;
  const jint result = create(&vm, &env, &arguments);
  std::setlocale(LC_ALL, locale.c_str());
  if (result != JNI_OK) giveUpCreating("JNI_CreateJavaVM gave " + std::to_string(result));

  const std::lock_guard lock(state.mutex);
  state.done = true;
  std::fputs(state.said.c_str(), stderr);
}
