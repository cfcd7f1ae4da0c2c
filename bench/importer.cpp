#include "importer.h"

#include <dlfcn.h>

#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>

namespace {

constexpr const char* guid = "{6F1C2D3A-8B4E-4F70-9A1D-2E5B7C9D0F13}";

JavaVM* vm = nullptr;
std::array<char, 1024> message{};

template <class Function>
void find(void* handle, const char* name, Function*& function) {
  void* const address = dlsym(handle, name);
  if (address == nullptr) fail(dlerror());
  function = reinterpret_cast<Function*>(address);
}

Library load() {
  void* const handle = dlopen(ZELVOX_SO, RTLD_NOW);
  if (handle == nullptr) fail(dlerror());
  Library found{};
  find(handle, "fmi2Instantiate", found.instantiate);
  find(handle, "fmi2FreeInstance", found.freeInstance);
  find(handle, "fmi2SetupExperiment", found.setupExperiment);
  find(handle, "fmi2EnterInitializationMode", found.enterInitializationMode);
  find(handle, "fmi2ExitInitializationMode", found.exitInitializationMode);
  find(handle, "fmi2SetReal", found.setReal);
  find(handle, "fmi2GetReal", found.getReal);
  find(handle, "fmi2DoStep", found.doStep);
  return found;
}

}  // namespace

void fail(const std::string& sentence) {
  std::fprintf(stderr, "bench: %s\n", sentence.c_str());
  std::_Exit(1);
}

void startJvm(std::vector<std::string> options) {
  options.emplace_back("-Djava.class.path=" DOUBLE_CLASS_PATH);
  std::vector<JavaVMOption> jvmOptions(options.size());
  for (std::size_t i = 0; i < options.size(); ++i) jvmOptions[i].optionString = options[i].data();
  JavaVMInitArgs arguments{};
  arguments.version = JNI_VERSION_1_8;
  arguments.nOptions = static_cast<jint>(jvmOptions.size());
  arguments.options = jvmOptions.data();
  void* env = nullptr;
  if (JNI_CreateJavaVM(&vm, &env, &arguments) != JNI_OK) fail("the JVM could not be created");
}

void check(fmi2Status status) {
  if (status != fmi2OK) fail(std::string("a call of the library failed: ") + message.data());
}

JavaVM* jvm() {
  return vm;
}

JNIEnv* attachForGood() {
  void* env = nullptr;
  if (vm->AttachCurrentThread(&env, nullptr) != JNI_OK) fail("a thread could not be attached");
  return static_cast<JNIEnv*>(env);
}

const Library& library() {
  static const Library loaded = load();
  return loaded;
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
      library().instantiate(name.c_str(), fmi2CoSimulation, guid, "", &callbacks, fmi2False,
                            loggingOn ? fmi2True : fmi2False);
  if (component == nullptr) fail(message.data());
  check(library().setupExperiment(component, fmi2False, 0.0, 0.0, fmi2False, 0.0));
  check(library().enterInitializationMode(component));
  check(library().exitInitializationMode(component));
  return component;
}
