// How a Java method of the simulation object is called: looked up anew each time, with texts as
// short-lived Java strings. The catalogue of methods stands in java_calls.cpp, but for the two that
// carry arrays (exchange.cpp). Look-ups and calls need an open bracket; the j_ functions open
// theirs.
//
// After each call of Java the JVM is asked for an exception, by clearJavaException where the call
// prints and clears it, else by noteJavaException: then it stays pending until the next bracket.
#pragma once

#include <string>

#include "bridge/java_text.h"
#include "bridge/jvm_access.h"

struct JavaMethod {
  const char* name;
  const char* signature;
};

// The method's identifier, or null when the method, the class, the object or the environment is
// missing: to a caller these are all the same. A failed look-up leaves its exception pending.
jmethodID findJavaMethod(const JavaMethod& method) noexcept;

// -Xcheck:jni warns of JNI calls that follow a call of Java without this.
inline void noteJavaException() noexcept {
  jniEnv->ExceptionCheck();
}

// Answers of calls that threw are false or null.
template <class... Arguments>
bool callBoolean(jmethodID method, Arguments... arguments) noexcept {
  return jniEnv->CallBooleanMethod(simObject, method, arguments...) != JNI_FALSE;
}

template <class... Arguments>
void callVoid(jmethodID method, Arguments... arguments) noexcept {
  jniEnv->CallVoidMethod(simObject, method, arguments...);
}

template <class... Arguments>
jobject callObject(jmethodID method, Arguments... arguments) noexcept {
  return jniEnv->CallObjectMethod(simObject, method, arguments...);
}

void clearLastError() noexcept;
void setLastError(const std::string& text);

bool j_initConnection();
bool j_instantiate(const char* instanceName, const char* resourceLocation);
std::string j_getProp(const char* instanceName, const char* key);
