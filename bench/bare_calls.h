// What the library is measured against: the same operations without a library.
//
// BareInstance makes exactly the JNI calls that the design demands: nothing is kept from one call
// to the next but the simulation object, so the VM, the environment, the class and the methods are
// looked up each time, counts are asked each time, strings and arrays are made anew. It deletes
// what it made, copies each value once, and asks for an exception where the design does: when a
// bracket opens, before values go out and after each call of Java. Around a message within a
// bracket it gives the class up and finds it anew. It checks nothing that Java answers.
//
// FloorInstance makes the calls of the Java methods alone that a step needs, and one copy;
// everything else was made beforehand. No bridge to this Java object can be faster.
//
// Both need prepareBareCalls(), which makes the simulation object.
//
// The importer's formatting of messages is nobody's share: with logging on, both format the same
// messages as the library has them formatted, at the same points.
#pragma once

#include <jni.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include "fmi2Functions.h"
#include "importer.h"

inline constexpr const char* simClassName = "com/zelvox/qorbetta/ZelvoxSim";
inline constexpr const char* getPropSignature =
    "(Ljava/lang/String;Ljava/lang/String;)Ljava/lang/String;";
inline constexpr const char* getDataSignature = "(Ljava/lang/String;)[D";
inline constexpr const char* doStepModelSignature = "(Ljava/lang/String;DD[D)Z";

inline jobject simObject = nullptr;

template <class Reference>
Reference kept(JNIEnv* env, Reference local) {
  if (local == nullptr) fail("the JVM did not make what the benchmark needs");
  const auto global = static_cast<Reference>(env->NewGlobalRef(local));
  env->DeleteLocalRef(local);
  return global;
}

inline void clearException(JNIEnv* env) {
  if (!env->ExceptionCheck()) return;
  env->ExceptionDescribe();
  env->ExceptionClear();
}

struct Bracket {
  Bracket() : attached(find()) {}
  ~Bracket() {
    env->DeleteLocalRef(simClass);
    if (attached) findJvm()->DetachCurrentThread();
  }
  Bracket(const Bracket&) = delete;
  Bracket& operator=(const Bracket&) = delete;

  // Whether it had to attach the thread.
  bool find() {
    JavaVM* const vm = findJvm();
    void* found = nullptr;
    const bool unknown = vm->GetEnv(&found, JNI_VERSION_1_8) == JNI_EDETACHED;
    if (unknown) vm->AttachCurrentThread(&found, nullptr);
    env = static_cast<JNIEnv*>(found);
    clearException(env);  // somebody may have left one
    simClass = env->FindClass(simClassName);
    return unknown;
  }
  // Before the importer is called, which may use Java on this thread; find() follows.
  void giveUp() {
    clearException(env);
    env->DeleteLocalRef(simClass);
  }

  JNIEnv* env;
  jclass simClass;
  bool attached;
};

// What FloorInstance keeps for all instances.
inline struct {
  JNIEnv* env;
  jmethodID getProp, getData, doStepModel;
  jstring numberOfInputs, numberOfOutputs;
} keptOnce;

inline void prepareBareCalls(JNIEnv* env) {
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

class BareInstance {
 public:
  BareInstance(std::string name, std::size_t inputs, std::size_t outputs, bool logging)
      : name(std::move(name)), reals(2 * outputs + inputs), logging(logging) {}

  void setReal(const fmi2ValueReference vr[], std::size_t nvr, const double value[]) {
    Bracket bracket;
    JNIEnv* const env = bracket.env;
    traceWithin(bracket, "fmi2SetReal: nvr = %d", static_cast<int>(nvr));
    if (askCount("number_of_reals") <= 0) fail("the model has no variables");
    for (std::size_t i = 0; i < nvr; ++i) {
      traceWithin(bracket, "fmi2SetReal: #r%d# = %.16g", static_cast<int>(vr[i]), value[i]);
      reals[vr[i]] = value[i];
      const jmethodID setReal =
          env->GetMethodID(bracket.simClass, "setReal", "(Ljava/lang/String;ID)V");
      const jstring nameText = env->NewStringUTF(name.c_str());
      clearException(env);
      env->CallVoidMethod(simObject, setReal, nameText, static_cast<jint>(vr[i]), value[i]);
      clearException(env);
      env->DeleteLocalRef(nameText);
    }
    dirty = true;
  }

  void getReal(const fmi2ValueReference vr[], std::size_t nvr, double value[]) {
    if (dirty) {
      const Bracket bracket;
      const int numberOfOutputs = askCount("number_of_outputs");
      std::copy_n(reals.begin(), numberOfOutputs, reals.begin() + numberOfOutputs);
      dirty = false;
    }
    if (askCount("number_of_reals") <= 0) fail("the model has no variables");
    for (std::size_t i = 0; i < nvr; ++i) {
      value[i] = reals[vr[i]];
      trace("fmi2GetReal: #r%u# = %.16g", vr[i], value[i]);
    }
  }

  void doStep(double time, double stepSize) {
    trace(
        "fmi2DoStep: currentCommunicationPoint = %g, communicationStepSize = %g, "
        "noSetFMUStatePriorToCurrentPoint = fmi2%s",
        time, stepSize, "True");
    const Bracket bracket;
    JNIEnv* const env = bracket.env;
    const int numberOfInputs = askCount("number_of_inputs");
    const int numberOfOutputs = askCount("number_of_outputs");
    clearException(env);
    const jmethodID doStepModel =
        env->GetMethodID(bracket.simClass, "doStepModel", doStepModelSignature);
    const jstring nameText = env->NewStringUTF(name.c_str());
    const jdoubleArray inputs = env->NewDoubleArray(numberOfInputs);
    env->SetDoubleArrayRegion(inputs, 0, numberOfInputs, reals.data() + 2 * numberOfOutputs);
    const jboolean stepped =
        env->CallBooleanMethod(simObject, doStepModel, nameText, time, stepSize, inputs);
    env->ExceptionCheck();
    if (!stepped) fail("the double refused a step");
    env->DeleteLocalRef(inputs);
    env->DeleteLocalRef(nameText);

    const jmethodID getData = env->GetMethodID(bracket.simClass, "getData", getDataSignature);
    clearException(env);
    const jstring nameAgain = env->NewStringUTF(name.c_str());
    const auto array =
        static_cast<jdoubleArray>(env->CallObjectMethod(simObject, getData, nameAgain));
    clearException(env);
    const jsize length = env->GetArrayLength(array);
    jdouble* const elements = env->GetDoubleArrayElements(array, nullptr);
    std::copy_n(elements, length, reals.begin());
    env->ReleaseDoubleArrayElements(array, elements, 0);
    env->DeleteLocalRef(array);
    env->DeleteLocalRef(nameAgain);
    clearException(env);
    clearException(env);
    dirty = true;
  }

 private:
  int askCount(const char* key) const {
    const Bracket bracket;
    JNIEnv* const env = bracket.env;
    const jmethodID getProp = env->GetMethodID(bracket.simClass, "getProp", getPropSignature);
    const jstring nameText = env->NewStringUTF(name.c_str());
    const jstring keyText = env->NewStringUTF(key);
    const auto answer =
        static_cast<jstring>(env->CallObjectMethod(simObject, getProp, nameText, keyText));
    env->ExceptionCheck();
    const char* const characters = env->GetStringUTFChars(answer, nullptr);
    const auto count = static_cast<int>(std::strtol(characters, nullptr, 10));
    env->ReleaseStringUTFChars(answer, characters);
    env->DeleteLocalRef(answer);
    env->DeleteLocalRef(keyText);
    env->DeleteLocalRef(nameText);
    return count;
  }

  template <class... Arguments>
  void trace(const char* format, Arguments... arguments) const {
    if (logging) logMessage(nullptr, "bench", fmi2OK, "logFmiCall", format, arguments...);
  }
  template <class... Arguments>
  void traceWithin(Bracket& bracket, const char* format, Arguments... arguments) const {
    if (!logging) return;
    bracket.giveUp();
    trace(format, arguments...);
    bracket.find();
  }

  std::string name;
  std::vector<double> reals;  // as in the library: outputs from 0, their mirror, inputs
  bool dirty = true;          // the mirror is older than the outputs
  bool logging;
};

class FloorInstance {
 public:
  FloorInstance(const std::string& name, std::size_t inputs, std::size_t outputs)
      : name(kept(keptOnce.env, keptOnce.env->NewStringUTF(name.c_str()))),
        inputs(kept(keptOnce.env, keptOnce.env->NewDoubleArray(static_cast<jsize>(inputs)))),
        reals(inputs + outputs) {}

  void doStep(double time, double stepSize) {
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

 private:
  jstring name;
  jdoubleArray inputs;
  std::vector<double> reals;
};
