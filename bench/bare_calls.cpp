#include "bare_calls.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "importer.h"

namespace {

constexpr const char* simClassName = "com/zelvox/qorbetta/ZelvoxSim";
constexpr const char* getPropSignature = "(Ljava/lang/String;Ljava/lang/String;)Ljava/lang/String;";
constexpr const char* getDataSignature = "(Ljava/lang/String;)[D";
constexpr const char* doStepModelSignature = "(Ljava/lang/String;DD[D)Z";

jobject simObject = nullptr;

template <class Reference>
Reference kept(JNIEnv* env, Reference local) {
  if (local == nullptr) fail("the JVM did not make what the benchmark needs");
  const auto global = static_cast<Reference>(env->NewGlobalRef(local));
  env->DeleteLocalRef(local);
  return global;
}

template <class... Arguments>
void trace(const Values& values, const char* format, Arguments... arguments) {
  if (values.logging) logMessage(nullptr, "bench", fmi2OK, "logFmiCall", format, arguments...);
}

JavaVM* findJvm() {
  JavaVM* vm = nullptr;
  jsize count = 0;
  JNI_GetCreatedJavaVMs(nullptr, 0, &count);
  JNI_GetCreatedJavaVMs(&vm, 1, &count);
  return vm;
}

void clearException(JNIEnv* env) {
  if (!env->ExceptionCheck()) return;
  env->ExceptionDescribe();
  env->ExceptionClear();
}

struct Bracket {
  Bracket() {
    JavaVM* const vm = findJvm();
    void* found = nullptr;
    attached = vm->GetEnv(&found, JNI_VERSION_1_8) == JNI_EDETACHED;
    if (attached) vm->AttachCurrentThread(&found, nullptr);
    env = static_cast<JNIEnv*>(found);
    clearException(env);  // somebody may have left one
    simClass = env->FindClass(simClassName);
  }
  ~Bracket() {
    env->DeleteLocalRef(simClass);
    if (attached) findJvm()->DetachCurrentThread();
  }
  Bracket(const Bracket&) = delete;
  Bracket& operator=(const Bracket&) = delete;

  JNIEnv* env;
  jclass simClass;
  bool attached;
};

int askCount(const std::string& instanceName, const char* key) {
  const Bracket bracket;
  JNIEnv* const env = bracket.env;
  const jmethodID getProp = env->GetMethodID(bracket.simClass, "getProp", getPropSignature);
  const jstring name = env->NewStringUTF(instanceName.c_str());
  const jstring keyText = env->NewStringUTF(key);
  const auto answer =
      static_cast<jstring>(env->CallObjectMethod(simObject, getProp, name, keyText));
  env->ExceptionCheck();
  const char* const characters = env->GetStringUTFChars(answer, nullptr);
  const auto count = static_cast<int>(std::strtol(characters, nullptr, 10));
  env->ReleaseStringUTFChars(answer, characters);
  env->DeleteLocalRef(answer);
  env->DeleteLocalRef(keyText);
  env->DeleteLocalRef(name);
  return count;
}

void fetchOutputs(JNIEnv* env, jclass simClass, const std::string& instanceName, double* reals) {
  const jmethodID getData = env->GetMethodID(simClass, "getData", getDataSignature);
  clearException(env);
  const jstring name = env->NewStringUTF(instanceName.c_str());
  const auto array = static_cast<jdoubleArray>(env->CallObjectMethod(simObject, getData, name));
  clearException(env);
  const jsize length = env->GetArrayLength(array);
  jdouble* const elements = env->GetDoubleArrayElements(array, nullptr);
  std::copy_n(elements, length, reals);
  env->ReleaseDoubleArrayElements(array, elements, 0);
  env->DeleteLocalRef(array);
  env->DeleteLocalRef(name);
  clearException(env);
}

// What FloorInstance keeps for all instances.
struct {
  JNIEnv* env;
  jmethodID getProp, getData, doStepModel;
  jstring numberOfInputs, numberOfOutputs;
} keptOnce;

}  // namespace

void prepareBareCalls() {
  JNIEnv* const env = attachForGood();
  const jclass simClass = env->FindClass(simClassName);
  if (simClass == nullptr) fail("the double's class is not on the class path");
  keptOnce = {env,
              env->GetMethodID(simClass, "getProp", getPropSignature),
              env->GetMethodID(simClass, "getData", getDataSignature),
              env->GetMethodID(simClass, "doStepModel", doStepModelSignature),
              kept(env, env->NewStringUTF("number_of_inputs")),
              kept(env, env->NewStringUTF("number_of_outputs"))};
  const jmethodID create =
      env->GetStaticMethodID(simClass, "create", "()Lcom/zelvox/qorbetta/ZelvoxSim;");
  simObject = kept(env, env->CallStaticObjectMethod(simClass, create));
  env->DeleteLocalRef(simClass);
}

BareInstance::BareInstance(std::string name, std::size_t inputs, std::size_t outputs, bool logging)
    : name(std::move(name)), values(inputs, outputs, logging) {}

void BareInstance::setReal(const fmi2ValueReference vr[], std::size_t nvr, const double value[]) {
  const Bracket bracket;
  JNIEnv* const env = bracket.env;
  trace(values, "fmi2SetReal: nvr = %d", static_cast<int>(nvr));
  if (askCount(name, "number_of_reals") <= 0) fail("the model has no variables");
  for (std::size_t i = 0; i < nvr; ++i) {
    trace(values, "fmi2SetReal: #r%d# = %.16g", static_cast<int>(vr[i]), value[i]);
    values.reals[vr[i]] = value[i];
    const jmethodID setReal =
        env->GetMethodID(bracket.simClass, "setReal", "(Ljava/lang/String;ID)V");
    const jstring nameText = env->NewStringUTF(name.c_str());
    clearException(env);
    env->CallVoidMethod(simObject, setReal, nameText, static_cast<jint>(vr[i]), value[i]);
    clearException(env);
    env->DeleteLocalRef(nameText);
  }
  values.dirty = true;
}

void BareInstance::getReal(const fmi2ValueReference vr[], std::size_t nvr, double value[]) {
  if (values.dirty) {
    const Bracket bracket;
    const int numberOfOutputs = askCount(name, "number_of_outputs");
    std::copy_n(values.reals.begin(), numberOfOutputs, values.reals.begin() + numberOfOutputs);
    values.dirty = false;
  }
  if (askCount(name, "number_of_reals") <= 0) fail("the model has no variables");
  for (std::size_t i = 0; i < nvr; ++i) {
    value[i] = values.reals[vr[i]];
    trace(values, "fmi2GetReal: #r%u# = %.16g", vr[i], value[i]);
  }
}

void BareInstance::doStep(double time, double stepSize) {
  trace(values,
        "fmi2DoStep: currentCommunicationPoint = %g, communicationStepSize = %g, "
        "noSetFMUStatePriorToCurrentPoint = fmi2%s",
        time, stepSize, "True");
  const Bracket bracket;
  JNIEnv* const env = bracket.env;
  const int numberOfInputs = askCount(name, "number_of_inputs");
  const int numberOfOutputs = askCount(name, "number_of_outputs");
  clearException(env);
  const jmethodID doStepModel =
      env->GetMethodID(bracket.simClass, "doStepModel", doStepModelSignature);
  const jstring nameText = env->NewStringUTF(name.c_str());
  const jdoubleArray inputs = env->NewDoubleArray(numberOfInputs);
  env->SetDoubleArrayRegion(inputs, 0, numberOfInputs, values.reals.data() + 2 * numberOfOutputs);
  const jboolean stepped =
      env->CallBooleanMethod(simObject, doStepModel, nameText, time, stepSize, inputs);
  env->ExceptionCheck();
  if (!stepped) fail("the double refused a step");
  env->DeleteLocalRef(inputs);
  env->DeleteLocalRef(nameText);
  fetchOutputs(env, bracket.simClass, name, values.reals.data());
  clearException(env);
  values.dirty = true;
}

FloorInstance::FloorInstance(const std::string& name, std::size_t inputs, std::size_t outputs)
    : name(kept(keptOnce.env, keptOnce.env->NewStringUTF(name.c_str()))),
      inputs(kept(keptOnce.env, keptOnce.env->NewDoubleArray(static_cast<jsize>(inputs)))),
      reals(inputs + outputs) {}

void FloorInstance::doStep(double time, double stepSize) {
  JNIEnv* const env = keptOnce.env;
  for (const jstring key : {keptOnce.numberOfInputs, keptOnce.numberOfOutputs})
    env->DeleteLocalRef(env->CallObjectMethod(simObject, keptOnce.getProp, name, key));
  const jsize count = env->GetArrayLength(inputs);
  env->SetDoubleArrayRegion(inputs, 0, count, reals.data());
  if (!env->CallBooleanMethod(simObject, keptOnce.doStepModel, name, time, stepSize, inputs))
    fail("the double refused a step");
  const auto data =
      static_cast<jdoubleArray>(env->CallObjectMethod(simObject, keptOnce.getData, name));
  env->GetDoubleArrayRegion(data, 0, env->GetArrayLength(data), reals.data() + count);
  env->DeleteLocalRef(data);
}
