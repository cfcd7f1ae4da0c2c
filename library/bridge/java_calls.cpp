#include "bridge/java_calls.h"

#include "bridge/jni_bracket.h"
#include "bridge/model_calls.h"

namespace {

// clang-format off
constexpr JavaMethod
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
  noteJavaException();
  return answer ? utf8Of(answer.get()) : std::string();
}

// Experiment setup and initialization explain in lastError why they failed.
template <class... Arguments>
bool callExplained(jmethodID method, Arguments... arguments) {
  const bool accepted = callBoolean(method, arguments...);
  noteJavaException();
  if (!accepted) setLastError(j_getLastError());
  return accepted;
}

}  // namespace

jmethodID findJavaMethod(const JavaMethod& method) noexcept {
  if (jniEnv == nullptr || simClass == nullptr || simObject == nullptr) return nullptr;
  const jmethodID found = jniEnv->GetMethodID(simClass, method.name, method.signature);
  // The look-up may run the class's initializer, which may free an instance and simObject with it.
  return simObject != nullptr ? found : nullptr;
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
  const LocalRef keyText(jniEnv->NewStringUTF(key));  // one of ours, in ASCII
  return keyText ? callText(method, name.get(), keyText.get()) : std::string();
}

bool j_setupExperiment(const char* instanceName, bool stopTimeDefined, double startTime,
                       double stopTime) {
  clearLastError();
  const JniBracket bracket;
  const jmethodID method = findJavaMethod(doSetupExperiment);
  const JavaText name(method != nullptr ? instanceName : nullptr);
  if (name)
    return callExplained(method, name.get(), startTime, static_cast<jboolean>(stopTimeDefined),
                         stopTime);
  setLastError("Fatal error setting up experiment");
  return false;
}

bool j_initializeModel(const char* instanceName) {
  clearLastError();
  const JniBracket bracket;
  const jmethodID method = findJavaMethod(doInitializeModel);
  const JavaText name(method != nullptr ? instanceName : nullptr);
  if (name) return callExplained(method, name.get());
  setLastError("Fatal error initializing model");
  return false;
}

void j_setReal(const char* instanceName, fmi2ValueReference vr, double value) {
  const jmethodID method = findJavaMethod(setReal);
  const JavaText name(method != nullptr ? instanceName : nullptr);
  // Clears what a failed look-up left, too, as the caller goes on with the next value.
  clearJavaException();
  if (!name) return;
  callVoid(method, name.get(), static_cast<jint>(vr), value);
  clearJavaException();
}

void j_terminate(const char* instanceName) {
  const JniBracket bracket;
  const jmethodID method = findJavaMethod(doTerminate);
  const JavaText name(method != nullptr ? instanceName : nullptr);
  if (!name) return;
  callVoid(method, name.get());
  noteJavaException();
}

void j_freeInstance(const char* instanceName) {
  const JniBracket bracket;
  const jmethodID method = findJavaMethod(doFreeInstance);
  const JavaText name(method != nullptr ? instanceName : nullptr);
  if (!name) return;
  callVoid(method, name.get());
  noteJavaException();
  jniEnv->DeleteGlobalRef(simObject);
  simObject = nullptr;
}
