#include "java_calls.h"

#include "bridge.h"

namespace {

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

jmethodID findJavaMethod(const char* name, const char* signature) noexcept {
  return canCallSimObject() ? made(jniEnv->GetMethodID(simClass, name, signature)) : nullptr;
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
  const jmethodID method = findJavaMethod("doInitConnection", "()Z");
  if (method == nullptr) return false;
  const bool accepted = callBoolean(method);
  clearJavaException();
  return accepted;
}

bool j_instantiate(const char* instanceName, const char* resourceLocation) {
  const JniBracket bracket;
  const jmethodID method =
      findJavaMethod("doInstantiate", "(Ljava/lang/String;Ljava/lang/String;)Z");
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
  const jmethodID method = findJavaMethod("getLasterror", "()Ljava/lang/String;");
  return method != nullptr ? callText(method) : std::string();
}

std::string j_getProp(const char* instanceName, const char* key) {
  const JniBracket bracket;
  const jmethodID method =
      findJavaMethod("getProp", "(Ljava/lang/String;Ljava/lang/String;)Ljava/lang/String;");
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
  const jmethodID method = findJavaMethod("doSetupExperiment", "(Ljava/lang/String;DZD)Z");
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
  const jmethodID method = findJavaMethod("doInitializeModel", "(Ljava/lang/String;)Z");
  const JavaText name(method != nullptr ? instanceName : nullptr);
  if (!name) {
    setLastError("Fatal error initializing model");
    return false;
  }
  return explained(callBoolean(method, name.get()));
}

void j_setReal(const char* instanceName, fmi2ValueReference vr, double value) {
  exceptionMayPend = true;  // the importer's logger was called in between
  clearJavaException();
  const jmethodID method = findJavaMethod("setReal", "(Ljava/lang/String;ID)V");
  if (method == nullptr) return;
  const JavaText name(instanceName);
  if (!name) return;
  clearJavaException();
  callVoid(method, name.get(), static_cast<jint>(vr), value);
  clearJavaException();
}

void j_terminate(const char* instanceName) {
  const JniBracket bracket;
  const jmethodID method = findJavaMethod("doTerminate", "(Ljava/lang/String;)V");
  if (method == nullptr) return;
  const JavaText name(instanceName);
  if (name) callVoid(method, name.get());
}

void j_freeInstance(const char* instanceName) {
  const JniBracket bracket;
  const jmethodID method = findJavaMethod("doFreeInstance", "(Ljava/lang/String;)V");
  if (method == nullptr) return;
  const JavaText name(instanceName);
  if (!name) return;
  callVoid(method, name.get());
  jniEnv->DeleteGlobalRef(simObject);
  simObject = nullptr;
}
