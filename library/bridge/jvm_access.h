// The way to the JVM in this process: its environment for the calling thread, the class and the
// object that all Java calls go to. Only bridge/ includes this.
//
// Nothing is remembered between brackets but the object, so that no thread can ever use what
// another one left, and none that was detached and attached again what it had before.
#pragma once

#include <jni.h>

#include "bridge/jni_bracket.h"

extern JNIEnv* jniEnv;     // see JavaAccess
extern jclass simClass;    // see JavaAccess
extern jobject simObject;  // a global reference, replaced by each connection; null without

// Finds the JVM; false if there is none or the calling thread is not attached to it.
bool attachJvm() noexcept;

// Looks up the class and takes the object that its accessor gives; simObject stays as it was when
// there is none. Needs attachJvm.
void findJavaClasses() noexcept;

// The two ends of a JniBracket. `attached`: this very call attached the thread.
bool ensureJniEnv() noexcept;
void releaseJniEnv(bool attached) noexcept;

// Deletes the class reference of the innermost bracket and goes on with the access of the enclosing
// one, or with none.
void leaveJniEnv(const JavaAccess& outer) noexcept;

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
