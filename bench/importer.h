// What an importer brings: a JVM, and instances of the double in java/, which are as large as their
// names say.
#pragma once

#include <jni.h>

#include <array>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "fmi2Functions.h"

inline constexpr const char* guid = "{6F1C2D3A-8B4E-4F70-9A1D-2E5B7C9D0F13}";
inline std::array<char, 1024> message{};  // the last one

// Everything here fails by ending the program with a sentence: a benchmark goes on only when all is
// well.
[[noreturn]] inline void fail(const std::string& sentence) {
  std::fprintf(stderr, "bench: %s\n", sentence.c_str());
  std::_Exit(1);
}

// The calling thread is attached to it from then on.
inline JNIEnv* startJvm(std::vector<std::string> options) {
  options.emplace_back("-Djava.class.path=" DOUBLE_CLASS_PATH);
  std::vector<JavaVMOption> jvmOptions(options.size());
  for (std::size_t i = 0; i < options.size(); ++i) jvmOptions[i].optionString = options[i].data();
  JavaVMInitArgs arguments{};
  arguments.version = JNI_VERSION_1_8;
  arguments.nOptions = static_cast<jint>(jvmOptions.size());
  arguments.options = jvmOptions.data();
  JavaVM* vm = nullptr;
  void* env = nullptr;
  if (JNI_CreateJavaVM(&vm, &env, &arguments) != JNI_OK) fail("the JVM could not be created");
  return static_cast<JNIEnv*>(env);
}

// As the library looks it up at every call.
inline JavaVM* findJvm() {
  JavaVM* vm = nullptr;
  jsize count = 0;
  JNI_GetCreatedJavaVMs(nullptr, 0, &count);
  JNI_GetCreatedJavaVMs(&vm, 1, &count);
  return vm;
}

// Formats every message as an importer does, whose function no compiler of the library can look
// into.
[[gnu::noipa]] inline void logMessage(fmi2ComponentEnvironment, fmi2String, fmi2Status, fmi2String,
                                      fmi2String format, ...) {
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(message.data(), message.size(), format, arguments);
  va_end(arguments);
}

inline void check(fmi2Status status) {
  if (status != fmi2OK) fail(std::string("a call of the library failed: ") + message.data());
}

// "3 2 first": 3 inputs, 2 outputs.
inline std::string modelName(std::size_t inputs, std::size_t outputs, const std::string& name) {
  return std::to_string(inputs) + ' ' + std::to_string(outputs) + ' ' + name;
}

// Instantiated and initialized, ready to step.
inline fmi2Component startInstance(const std::string& name, bool loggingOn) {
  static const fmi2CallbackFunctions callbacks = {logMessage, std::calloc, std::free, nullptr,
                                                  nullptr};
  const fmi2Component component =
      fmi2Instantiate(name.c_str(), fmi2CoSimulation, guid, "", &callbacks, fmi2False,
                      loggingOn ? fmi2True : fmi2False);
  if (component == nullptr) fail(message.data());
  check(fmi2SetupExperiment(component, fmi2False, 0.0, 0.0, fmi2False, 0.0));
  check(fmi2EnterInitializationMode(component));
  check(fmi2ExitInitializationMode(component));
  return component;
}
