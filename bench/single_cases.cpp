#include <algorithm>
#include <array>
#include <string>
#include <string_view>

#include "bare_calls.h"
#include "cases.h"
#include "importer.h"

std::vector<Case> callCases() {
  JNIEnv* const env = attachForGood();
  const jobject sim = prepareBareCalls();
  const auto simClass = static_cast<jclass>(env->NewGlobalRef(env->GetObjectClass(sim)));
  const auto kept = [env](auto local) {
    return static_cast<decltype(local)>(env->NewGlobalRef(local));
  };
  const std::string name = modelName(3, 2, "small");
  const jstring nameText = kept(env->NewStringUTF(name.c_str()));
  const jstring key = kept(env->NewStringUTF("number_of_inputs"));
  const jdoubleArray array = kept(env->NewDoubleArray(3));
  const jmethodID getProp = env->GetMethodID(simClass, "getProp", getPropSignature);
  const jmethodID step = env->GetMethodID(simClass, "doStepModel", "(Ljava/lang/String;DD[D)Z");
  const auto one = [](const char* what, int timesPerStep, auto operation) {
    return Case{what, {timed(operation)}, 0.0, 0.0, timesPerStep};
  };
  std::vector<Case> cases = {
      one("JNI_GetCreatedJavaVMs, twice", 3,
          [] {
            JavaVM* vm = nullptr;
            jsize count = 0;
            JNI_GetCreatedJavaVMs(nullptr, 0, &count);
            JNI_GetCreatedJavaVMs(&vm, 1, &count);
          }),
      one("GetEnv", 3,
          [] {
            void* found = nullptr;
            jvm()->GetEnv(&found, JNI_VERSION_1_8);
          }),
      one("FindClass", 3, [=] { env->DeleteLocalRef(env->FindClass(simClassName)); }),
      one("GetMethodID", 4,
          [=] {
            benchmark::DoNotOptimize(env->GetMethodID(simClass, "getProp", getPropSignature));
          }),
      one("NewStringUTF", 6, [=] { env->DeleteLocalRef(env->NewStringUTF(name.c_str())); }),
      one("GetStringUTFChars and its release", 2,
          [=] { env->ReleaseStringUTFChars(key, env->GetStringUTFChars(key, nullptr)); }),
      one("NewDoubleArray of 3", 1, [=] { env->DeleteLocalRef(env->NewDoubleArray(3)); }),
      one("SetDoubleArrayRegion of 3", 1,
          [=] {
            constexpr std::array<double, 3> values = {1, 2, 3};
            env->SetDoubleArrayRegion(array, 0, 3, values.data());
          }),
      one("GetDoubleArrayElements of 3 and their release", 1,
          [=] {
            env->ReleaseDoubleArrayElements(array, env->GetDoubleArrayElements(array, nullptr), 0);
          }),
      one("ExceptionCheck", 5, [=] { benchmark::DoNotOptimize(env->ExceptionCheck()); }),
      one("CallObjectMethod", 3,
          [=] { env->DeleteLocalRef(env->CallObjectMethod(sim, getProp, nameText, key)); }),
      one("CallBooleanMethod", 1,
          [=] { env->CallBooleanMethod(sim, step, nameText, 0.0, 0.001, array); }),
  };
  cases.push_back({"AttachCurrentThread and DetachCurrentThread", {onForeignThread(timed([] {
                     attachForGood();
                     jvm()->DetachCurrentThread();
                   }))}});
  return cases;
}

// Of zelvox.jar, whose simulation object has the class name of the double: a class loader of its
// own keeps the two apart.
std::vector<Case> javaCases() {
  JNIEnv* const env = attachForGood();
  const jclass urlClass = env->FindClass("java/net/URL");
  const jmethodID newUrl = env->GetMethodID(urlClass, "<init>", "(Ljava/lang/String;)V");
  std::vector<jobject> urls;
  for (std::string_view jars = MODEL_JARS; !jars.empty();) {
    const std::string jar = "file:" + std::string(jars.substr(0, jars.find(':')));
    urls.push_back(env->NewObject(urlClass, newUrl, env->NewStringUTF(jar.c_str())));
    jars.remove_prefix(std::min(jars.size(), jar.size() - 4));
  }
  const jobjectArray array =
      env->NewObjectArray(static_cast<jsize>(urls.size()), urlClass, nullptr);
  for (std::size_t i = 0; i < urls.size(); ++i)
    env->SetObjectArrayElement(array, static_cast<jsize>(i), urls[i]);
  const jclass loaderClass = env->FindClass("java/net/URLClassLoader");
  const jobject loader = env->NewObject(
      loaderClass,
      env->GetMethodID(loaderClass, "<init>", "([Ljava/net/URL;Ljava/lang/ClassLoader;)V"), array,
      nullptr);
  const auto loops = static_cast<jclass>(env->NewGlobalRef(env->CallObjectMethod(
      loader, env->GetMethodID(loaderClass, "loadClass", "(Ljava/lang/String;)Ljava/lang/Class;"),
      env->NewStringUTF("StepLoops"))));
  const auto loop = [=](const char* method) {
    const jmethodID found =
        loops == nullptr ? nullptr : env->GetStaticMethodID(loops, method, "(J)J");
    return Loop([=](long times) {
      const jlong spent =
          found == nullptr ? 0 : env->CallStaticLongMethod(loops, found, static_cast<jlong>(times));
      if (found == nullptr || env->ExceptionCheck()) {
        env->ExceptionDescribe();
        fail("the demonstration model does not step");
      }
      return static_cast<double>(spent);
    });
  };
  return {{"through ZelvoxSim, over called directly", {loop("hosted"), loop("direct")}, 1.10},
          {"with fields, over by index", {loop("direct"), loop("byIndex")}, 1.10}};
}
