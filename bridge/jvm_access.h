// The way to the JVM in this process: its environment for the calling thread, the class and the
// object that all Java calls go to. Only bridge/ includes this.
//
// Outside of a bracket and of a connection jniEnv and simClass are null, so that no thread can ever
// use what another one left. Inside, each may still be null: there may be no JVM, no class, no
// object. Every use must be ready for that.
#pragma once

#include <jni.h>

#include <cstdint>

#include "bridge.h"

extern JNIEnv* jniEnv;                 // of the calling thread
extern jclass simClass;                // a local reference of the innermost bracket
extern jobject simObject;              // a global reference, replaced by each connection
extern std::uint64_t simObjectNumber;  // one more with each replacement

// Passes on what a JNI function made or found; null comes with an exception.
template <class Result>
Result made(Result result) noexcept {
  if (result == nullptr) exceptionMayPend = true;
  return result;
}

// Finds the JVM; false if there is none or the calling thread is not attached to it.
bool attachJvm() noexcept;

// Looks up the class and takes the object that its accessor gives; simObject stays as it was when
// there is none. Needs attachJvm.
void findJavaClasses() noexcept;

// The two ends of a JniBracket. `attached`: this very call attached the thread.
bool ensureJniEnv() noexcept;
void releaseJniEnv(bool attached) noexcept;

// Gives back the current class reference and goes on with the environment and class of the
// enclosing bracket, or with none.
void leaveJniEnv(JNIEnv* outerEnv, jclass outerClass) noexcept;

// Has the JVM print a pending exception and forget it. Most JNI functions must not be called while
// one is pending.
void clearJavaException() noexcept;

// Owns one local reference of the current environment. A thread that stays attached for ever would
// otherwise collect them.
template <class Reference>
class LocalRef {
 public:
  explicit LocalRef(Reference given) noexcept : reference(given) {}
  ~LocalRef() {
    if (reference != nullptr) jniEnv->DeleteLocalRef(reference);
  }
  LocalRef(const LocalRef&) = delete;
  LocalRef& operator=(const LocalRef&) = delete;

  Reference get() const noexcept { return reference; }
  explicit operator bool() const noexcept { return reference != nullptr; }

 private:
  Reference reference;
};
