#include "importer.h"

#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>

namespace {

constexpr const char* guid = "{6F1C2D3A-8B4E-4F70-9A1D-2E5B7C9D0F13}";

std::array<char, 1024> message{};

}  // namespace

void fail(const std::string& sentence) {
  std::fprintf(stderr, "bench: %s\n", sentence.c_str());
  std::_Exit(1);
}

JNIEnv* startJvm(std::vector<std::string> options) {
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

void check(fmi2Status status) {
  if (status != fmi2OK) fail(std::string("a call of the library failed: ") + message.data());
}

JavaVM* findJvm() {
  JavaVM* vm = nullptr;
  jsize count = 0;
  JNI_GetCreatedJavaVMs(nullptr, 0, &count);
  JNI_GetCreatedJavaVMs(&vm, 1, &count);
  return vm;
}

void logMessage(fmi2ComponentEnvironment, fmi2String, fmi2Status, fmi2String, fmi2String format,
                ...) {
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(message.data(), message.size(), format, arguments);
  va_end(arguments);
}

std::string modelName(std::size_t inputs, std::size_t outputs, const std::string& name) {
  return std::to_string(inputs) + ' ' + std::to_string(outputs) + ' ' + name;
}

fmi2Component startInstance(const std::string& name, bool loggingOn) {
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
