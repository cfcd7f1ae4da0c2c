#include "preload/forks.h"

#include <pthread.h>
#include <unistd.h>

#include <string_view>

namespace {

JavaVM* vm = nullptr;
bool forked = false;
bool said = false;

void say() noexcept {
  constexpr std::string_view sentence =
      "zelvox: this process was forked from one with a JVM and cannot use it; start workers as new "
      "programs, in Python with multiprocessing.get_context(\"spawn\"), each by zelvox.start_jvm "
      "or all by zelvox exec --follow\n";
  if (!said) static_cast<void>(!write(STDERR_FILENO, sentence.data(), sentence.size()));
  said = true;
}

jint JNICALL destroy(JavaVM* /*its*/) noexcept {
  say();
  return JNI_ERR;
}

jint JNICALL attach(JavaVM* /*its*/, void** env, void* /*arguments*/) noexcept {
  *env = nullptr;
  say();
  return JNI_ERR;
}

// Of a thread that is not attached the JVM answers the same. Nobody needs to be told.
jint JNICALL detach(JavaVM* /*its*/) noexcept {
  return JNI_OK;
}

jint JNICALL getEnv(JavaVM* /*its*/, void** env, jint /*version*/) noexcept {
  *env = nullptr;
  say();
  return JNI_EDETACHED;
}

constexpr JNIInvokeInterface_ refusing{nullptr, nullptr, nullptr, destroy,
                                       attach,  detach,  getEnv,  attach};

void inChild() noexcept {
  forked = true;
  said = false;
  vm->functions = &refusing;
}

}  // namespace

[[gnu::visibility("default")]] void zelvoxCloseJvmToForks(JavaVM* jvm) noexcept {
  vm = jvm;
  pthread_atfork(nullptr, nullptr, inChild);
}

bool isForked() noexcept {
  return forked;
}
