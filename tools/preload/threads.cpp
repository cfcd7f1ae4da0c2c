#include "preload/threads.h"

#include <dlfcn.h>
#include <pthread.h>
#include <sched.h>
#include <threads.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdint>
#include <initializer_list>
#include <new>

#include "preload/code_owner.h"
#include "preload/forks.h"
#include "preload/next.h"

namespace {

// Below this the JVM's guard pages leave Java no room to run in.
constexpr std::size_t leastStack = 192 * 1024;

JavaVM* vm = nullptr;  // null: no thread is attached
pthread_key_t attachment;

// A thread on its way into or out of a JVM that is being destroyed would wait there forever. So
// these ways are closed before, and empty.
std::atomic<bool> closed = false;
std::atomic<int> underway = 0;

// Goes such a way, on which the thread cannot be canceled: the JVM's locks are points of
// cancelation.
template <typename Call>
void goUnlessClosed(Call call) noexcept {
  int cancelation = PTHREAD_CANCEL_ENABLE;
  pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &cancelation);
  ++underway;
  if (!closed) call();
  --underway;
  pthread_setcancelstate(cancelation, nullptr);
}

jint (*destroyJvm)(JavaVM*) = nullptr;

// The DestroyJavaVM that the program finds.
jint JNICALL closeAndDestroy(JavaVM* its) noexcept {
  closed = true;
  while (underway > 0) sched_yield();
  const jint result = destroyJvm(its);
  closed = result == JNI_OK;
  return result;
}

// The value of the key says how often the destructor was called. Only the last call detaches, so
// that the destructors of other keys may still use the JVM. HotSpot keeps its thread that long.
void ended(void* calls) {
  const auto count = reinterpret_cast<std::uintptr_t>(calls);
  if (isForked()) return;
  if (count < PTHREAD_DESTRUCTOR_ITERATIONS) {
    pthread_setspecific(attachment, reinterpret_cast<void*>(count + 1));
    return;
  }
  goUnlessClosed([] { vm->DetachCurrentThread(); });
}

std::size_t stackLeft() noexcept {
  pthread_attr_t attributes;
  if (pthread_getattr_np(pthread_self(), &attributes) != 0) return 0;
  void* lowest = nullptr;
  std::size_t size = 0;
  pthread_attr_getstack(&attributes, &lowest, &size);
  pthread_attr_destroy(&attributes);
  return static_cast<std::size_t>(static_cast<char*>(__builtin_frame_address(0)) -
                                  static_cast<char*>(lowest));
}

// What the program sees of its thread (signals, cancelation, errno) is the same afterwards. Where
// it fails, the thread is one that is not attached, as the program would have it without us.
void attach() noexcept {
  if (isForked() || stackLeft() < leastStack) return;
  sigset_t signals;
  pthread_sigmask(SIG_SETMASK, nullptr, &signals);
  goUnlessClosed([] {
    void* env = nullptr;
    if (vm->AttachCurrentThreadAsDaemon(&env, nullptr) == JNI_OK &&
        pthread_setspecific(attachment, reinterpret_cast<void*>(1)) != 0)
      vm->DetachCurrentThread();
  });
  // The JVM unblocks the signals that it uses. Of those it needs the faults, which nobody can
  // block with profit; a signal that the program waits for in another thread stays blocked.
  for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL}) sigdelset(&signals, fault);
  pthread_sigmask(SIG_SETMASK, &signals, nullptr);
  errno = 0;
}

// The JVM's guard pages stay in the stack of a thread, where the next one that uses it would crash.
bool bringsItsStack(const pthread_attr_t* attributes) noexcept {
  void* lowest = nullptr;
  std::size_t size = 0;
  return attributes != nullptr && pthread_attr_getstack(attributes, &lowest, &size) == 0 &&
         reinterpret_cast<std::uintptr_t>(lowest) + size != 0;  // the end, which is null by default
}

template <typename Result>
struct Start {
  Result (*routine)(void*);
  void* argument;
};

// The first function of an attached thread. It must not be noexcept, nor have anything to destroy:
// pthread_exit and cancelation unwind it.
template <typename Result>
Result begin(void* start) {
  auto* const given = static_cast<Start<Result>*>(start);
  const Start<Result> program = *given;
  delete given;
  attach();
  return program.routine(program.argument);
}

// Has `create` start the thread with begin() before the program's routine, where that is due.
// AddressSanitizer and its like put routines of their own before those of the JVM.
template <typename Result, typename Create>
int createThread(const void* caller, Result (*routine)(void*), void* argument,
                 Create create) noexcept {
  const auto* const code = reinterpret_cast<const void*>(routine);
  if (vm == nullptr || isJvms(caller) || isJvms(code) || isOtherPreloads(code))
    return create(routine, argument);
  auto* const start = new (std::nothrow) Start<Result>{routine, argument};
  if (start == nullptr) return create(routine, argument);
  const int result = create(begin<Result>, start);
  if (result != 0) delete start;
  return result;
}

}  // namespace

void attachThreads(JavaVM* jvm) noexcept {
  // Other JVMs may create their threads in other libraries than isJvms() knows.
  if (dlsym(RTLD_DEFAULT, "gHotSpotVMStructs") == nullptr) return;
  if (pthread_key_create(&attachment, ended) != 0) return;
  vm = jvm;
  static JNIInvokeInterface_ functions = *vm->functions;
  destroyJvm = functions.DestroyJavaVM;
  functions.DestroyJavaVM = closeAndDestroy;
  vm->functions = &functions;
}

#pragma GCC visibility push(default)
extern "C" {

int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*routine)(void*),
                   void* argument) noexcept {
  const auto create = [=](void* (*first)(void*), void* its) {
    return libc().pthreadCreate(thread, attributes, first, its);
  };
  if (bringsItsStack(attributes)) return create(routine, argument);
  return createThread(__builtin_return_address(0), routine, argument, create);
}

int thrd_create(thrd_t* thread, thrd_start_t routine, void* argument) {
  return createThread(
      __builtin_return_address(0), routine, argument,
      [=](thrd_start_t first, void* its) { return libc().thrdCreate(thread, first, its); });
}

}  // extern "C"
#pragma GCC visibility pop
