#include "bridge/jvm_access.h"

#include <algorithm>
#include <array>

JNIEnv* jniEnv = nullptr;
jclass simClass = nullptr;
jobject simObject = nullptr;

namespace {

constexpr const char* className = "com/zelvox/qorbetta/ZelvoxSim";
constexpr const char* accessorName = "create";
constexpr const char* accessorSignature = "()Lcom/zelvox/qorbetta/ZelvoxSim;";

struct Lookup {
  JavaVM* vm;
  bool succeeded;
};

// Asked anew at every use: the host may have destroyed its JVM in between. HotSpot knows one VM per
// process; of several the first is used.
Lookup lookUpJvm() noexcept {
  std::array<JavaVM*, 4> vms{};
  jsize count = 0;
  const jint counted = JNI_GetCreatedJavaVMs(nullptr, 0, &count);
  const auto length = std::clamp(count, 0, static_cast<jsize>(vms.size()));
  const jint listed = JNI_GetCreatedJavaVMs(vms.data(), length, &count);
  return {vms[0], counted == JNI_OK && listed == JNI_OK && count > 0 && vms[0] != nullptr};
}

// Whoever called the library may have left an exception.
void findSimClass() noexcept {
  clearJavaException();
  simClass = jniEnv->FindClass(className);
}

}  // namespace

bool attachJvm() noexcept {
  const auto [vm, found] = lookUpJvm();
  void* env = nullptr;
  if (!found || vm->GetEnv(&env, JNI_VERSION_1_8) != JNI_OK) return false;
  jniEnv = static_cast<JNIEnv*>(env);
  return true;
}

void findJavaClasses() noexcept {
  findSimClass();
  if (simClass == nullptr) return;
  const jmethodID accessor = jniEnv->GetStaticMethodID(simClass, accessorName, accessorSignature);
  if (accessor == nullptr) return;
  const LocalRef object(jniEnv->CallStaticObjectMethod(simClass, accessor));
  jniEnv->ExceptionCheck();
  if (object) {
    const jobject held = jniEnv->NewGlobalRef(object.get());
    if (held != nullptr) {
      if (simObject != nullptr) jniEnv->DeleteGlobalRef(simObject);
      simObject = held;
    }
  }
  clearJavaException();
}

bool ensureJniEnv() noexcept {
  const auto [vm, found] = lookUpJvm();
  if (!found) return false;
  void* env = nullptr;
  const jint known = vm->GetEnv(&env, JNI_VERSION_1_8);
  const bool attached = known == JNI_EDETACHED && vm->AttachCurrentThread(&env, nullptr) == JNI_OK;
  jniEnv = known == JNI_OK || attached ? static_cast<JNIEnv*>(env) : nullptr;
  simClass = nullptr;
  if (jniEnv != nullptr) findSimClass();
  return attached;
}

void releaseJniEnv(bool attached) noexcept {
  if (!attached) return;
  if (JavaVM* const vm = lookUpJvm().vm; vm != nullptr) vm->DetachCurrentThread();
}

void leaveJniEnv(const JavaAccess& outer) noexcept {
  if (simClass != nullptr && simClass != outer.simClass) jniEnv->DeleteLocalRef(simClass);
  giveAccessBack(outer);
}

void clearJavaException() noexcept {
  if (jniEnv == nullptr || !jniEnv->ExceptionCheck()) return;
  jniEnv->ExceptionDescribe();
  jniEnv->ExceptionClear();
}

JavaAccess setAccessAside() noexcept {
  const JavaAccess outer{jniEnv, simClass};
  giveAccessBack({});
  return outer;
}

void giveAccessBack(const JavaAccess& outer) noexcept {
  jniEnv = outer.env;
  simClass = outer.simClass;
}

JniBracket::JniBracket() noexcept : outer{jniEnv, simClass}, attached(ensureJniEnv()) {}

JniBracket::~JniBracket() {
  leaveJniEnv(outer);
  releaseJniEnv(attached);
}

CallbackGuard::CallbackGuard(bool ours) noexcept : inBracket(ours && jniEnv != nullptr) {
  if (!inBracket) return;
  clearJavaException();
  leaveJniEnv({});
}

// A thread that the callback detached is attached again. Who attached it at first, a bracket of
// ours or the importer, will also detach it.
CallbackGuard::~CallbackGuard() {
  if (inBracket) ensureJniEnv();
}
