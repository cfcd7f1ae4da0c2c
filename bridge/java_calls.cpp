#include "java_calls.h"

#include "bridge.h"

namespace {

// clang-format off
JavaMethod
    doInitConnection   {"doInitConnection", "()Z"},
    doInstantiate      {"doInstantiate", "(Ljava/lang/String;Ljava/lang/String;)Z"},
    getLasterror       {"getLasterror", "()Ljava/lang/String;"},
    getProp            {"getProp", "(Ljava/lang/String;Ljava/lang/String;)Ljava/lang/String;"},
    doSetupExperiment  {"doSetupExperiment", "(Ljava/lang/String;DZD)Z"},
    doInitializeModel  {"doInitializeModel", "(Ljava/lang/String;)Z"},
    setReal            {"setReal", "(Ljava/lang/String;ID)V"},
    doTerminate        {"doTerminate", "(Ljava/lang/String;)V"},
    doFreeInstance     {"doFreeInstance", "(Ljava/lang/String;)V"};
// clang-format on

std::string lastError;

// The empty text when the method threw, answered null or gave no characters.
template <class... Arguments>
std::string callText(jmethodID method, Arguments... arguments) {
  const LocalRef answer(static_cast<jstring>(callObject(method, arguments...)));
  return answer ? utf8Of(answer.get()) : std::string();
}

// Experiment setup and initialization explain themselves in lastError.
bool explained(bool accepted) {
  if (!accepted) setLastError(j_getLastError());
  return accepted;
}

}  // namespace

// The class that this thread sees need not be the object's: a thread that Java code runs on asks
// the class loader of that code. A method that the object does not have must not be called on it.
// Asking the JVM shows in the time of a single fmi2SetReal; but while the object lives, so does its
// class, and no other method can have the identifier of one of its own.
jmethodID findJavaMethod(JavaMethod& method) noexcept {
  if (jniEnv == nullptr || simClass == nullptr || simObject == nullptr) return nullptr;
  const jmethodID found = made(jniEnv->GetMethodID(simClass, method.name, method.signature));
  // The look-up may run the class's initializer, and that anything.
  if (found == nullptr || simObject == nullptr) return nullptr;
  if (found == method.own && simObjectNumber == method.owner) return found;
  if (!jniEnv->IsInstanceOf(simObject, simClass)) return nullptr;
  method.own = found;
  method.owner = simObjectNumber;
  return found;
}

void clearLastError() noexcept {
  lastError.clear();
}

void setLastError(const std::string& text) {
  lastError = text;
}

const std::string& lastErrorText() noexcept {
  return lastError;
}

bool j_initConnection() {
  const JniBracket bracket;
  const jmethodID method = findJavaMethod(doInitConnection);
  if (method == nullptr) return false;
  const bool accepted = callBoolean(method);
  clearJavaException();
  return accepted;
}

bool j_instantiate(const char* instanceName, const char* resourceLocation) {
  const JniBracket bracket;
  const jmethodID method = findJavaMethod(doInstantiate);
  if (method == nullptr) return false;
  clearJavaException();
  const JavaText name(instanceName);
  if (!name) return false;
  const JavaText location(resourceLocation);
  if (!location) return false;
  const bool accepted = callBoolean(method, name.get(), location.get());
  clearJavaException();
  return accepted;
}

std::string j_getLastError() {
  const JniBracket bracket;
  const jmethodID method = findJavaMethod(getLasterror);
  return method != nullptr ? callText(method) : std::string();
}

std::string j_getProp(const char* instanceName, const char* key) {
  const JniBracket bracket;
  const jmethodID method = findJavaMethod(getProp);
  if (method == nullptr) return {};
  const JavaText name(instanceName);
  if (!name) return {};
  const JavaText keyText = JavaText::ofAscii(key);
  return keyText ? callText(method, name.get(), keyText.get()) : std::string();
}

bool j_setupExperiment(const char* instanceName, bool stopTimeDefined, double startTime,
                       double stopTime) {
  clearLastError();
  const JniBracket bracket;
  const jmethodID method = findJavaMethod(doSetupExperiment);
  const JavaText name(method != nullptr ? instanceName : nullptr);
  if (!name) {
    setLastError("Fatal error setting up experiment");
    return false;
  }
  return explained(
      callBoolean(method, name.get(), startTime, static_cast<jboolean>(stopTimeDefined), stopTime));
}

bool j_initializeModel(const char* instanceName) {
  clearLastError();
  const JniBracket bracket;
  const jmethodID method = findJavaMethod(doInitializeModel);
  const JavaText name(method != nullptr ? instanceName : nullptr);
  if (!name) {
    setLastError("Fatal error initializing model");
    return false;
  }
  return explained(callBoolean(method, name.get()));
}

void j_setReal(const char* instanceName, fmi2ValueReference vr, double value) {
  clearJavaException();
  const jmethodID method = findJavaMethod(setReal);
  if (method == nullptr) return;
  const JavaText name(instanceName);
  if (!name) return;
  clearJavaException();
  callVoid(method, name.get(), static_cast<jint>(vr), value);
  clearJavaException();
}

void j_terminate(const char* instanceName) {
  const JniBracket bracket;
  const jmethodID method = findJavaMethod(doTerminate);
  if (method == nullptr) return;
  const JavaText name(instanceName);
  if (name) callVoid(method, name.get());
}

void j_freeInstance(const char* instanceName) {
  const JniBracket bracket;
  const jmethodID method = findJavaMethod(doFreeInstance);
  if (method == nullptr) return;
  const JavaText name(instanceName);
  if (!name) return;
  callVoid(method, name.get());
  jniEnv->DeleteGlobalRef(simObject);
  simObject = nullptr;
}
