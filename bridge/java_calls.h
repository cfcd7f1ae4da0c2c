// How a Java method of the simulation object is called: looked up anew each time, with texts as
// short-lived Java strings. The catalogue of methods stands in java_calls.cpp, but for the two that
// carry arrays (exchange.cpp). Look-ups and calls need an open bracket; the j_ functions open
// theirs.
#pragma once

#include <jni.h>

#include <string>

#include "java_text.h"
#include "jvm_access.h"

// A method of the simulation object, and the identifier that was last found to be one of its own.
struct JavaMethod {
  const char* name;
  const char* signature;
  jmethodID own = nullptr;
  std::uint64_t owner = 0;  // a simObjectNumber
};

// The method's identifier, or null when the method, the class, the object or the environment is
// missing: to a caller these are all the same. A failed look-up leaves its exception pending.
jmethodID findJavaMethod(JavaMethod& method) noexcept;

// Asked directly after each call of Java, also because not asking draws a -Xcheck:jni warning.
inline void noteJavaException() noexcept {
  exceptionMayPend = jniEnv->ExceptionCheck();
}

// Answers of calls that threw are false or null.
template <class... Arguments>
bool callBoolean(jmethodID method, Arguments... arguments) noexcept {
  const jboolean answer = jniEnv->CallBooleanMethod(simObject, method, arguments...);
  noteJavaException();
  return answer != JNI_FALSE;
}

template <class... Arguments>
void callVoid(jmethodID method, Arguments... arguments) noexcept {
  jniEnv->CallVoidMethod(simObject, method, arguments...);
  noteJavaException();
}

template <class... Arguments>
jobject callObject(jmethodID method, Arguments... arguments) noexcept {
  const jobject answer = jniEnv->CallObjectMethod(simObject, method, arguments...);
  noteJavaException();
  return answer;
}

void clearLastError() noexcept;
void setLastError(const std::string& text);

bool j_initConnection();
bool j_instantiate(const char* instanceName, const char* resourceLocation);
std::string j_getProp(const char* instanceName, const char* key);
