#include "jvm_access.h"

#include <algorithm>
#include <array>

#include "bridge.h"

JNIEnv* jniEnv = nullptr;
jclass simClass = nullptr;
jobject simObject = nullptr;
std::uint64_t simObjectNumber = 0;
bool exceptionMayPend = true;

namespace {

constexpr const char* className = "com/zelvox/qorbetta/ZelvoxSim";
constexpr const char* accessorName = "create";
constexpr const char* accessorSignature = "()Lcom/zelvox/qorbetta/ZelvoxSim;";

// Asked anew at every use: the host may have destroyed its JVM in between. HotSpot knows one VM per
// process; of several the first is used.
JavaVM* findJvm() noexcept {
  std::array<JavaVM*, 2> vms{};
  jsize count = 0;
  if (JNI_GetCreatedJavaVMs(nullptr, 0, &count) != JNI_OK || count <= 0) return nullptr;
  const jsize length = std::min(count, static_cast<jsize>(vms.size()));
  if (JNI_GetCreatedJavaVMs(vms.data(), length, &count) != JNI_OK || count <= 0) return nullptr;
  return vms[0];
}

// The calling thread's environment, or null.
JNIEnv* threadEnv() noexcept {
  void* env = nullptr;
  JavaVM* const vm = findJvm();
  return vm != nullptr && vm->GetEnv(&env, JNI_VERSION_1_8) == JNI_OK ? static_cast<JNIEnv*>(env)
                                                                      : nullptr;
}

void findSimClass() noexcept {
  clearJavaException();
  simClass = made(jniEnv->FindClass(className));
}

}  // namespace

bool attachJvm() noexcept {
  jniEnv = threadEnv();
  return jniEnv != nullptr;
}

void findJavaClasses() noexcept {
  exceptionMayPend = true;  // the thread comes from the importer
  findSimClass();
  if (simClass == nullptr) return;
  const jmethodID accessor =
      made(jniEnv->GetStaticMethodID(simClass, accessorName, accessorSignature));
  if (accessor == nullptr) return;
  const LocalRef object(jniEnv->CallStaticObjectMethod(simClass, accessor));
  exceptionMayPend = jniEnv->ExceptionCheck();
  if (object) {
    const jobject held = jniEnv->NewGlobalRef(object.get());
    if (held != nullptr) {
      if (simObject != nullptr) jniEnv->DeleteGlobalRef(simObject);
      simObject = held;
      ++simObjectNumber;
    }
  }
  clearJavaException();
}

bool ensureJniEnv() noexcept {
  JavaVM* const vm = findJvm();
  if (vm == nullptr) return false;
  void* env = nullptr;
  const jint found = vm->GetEnv(&env, JNI_VERSION_1_8);
  const bool attached = found == JNI_EDETACHED && vm->AttachCurrentThread(&env, nullptr) == JNI_OK;
  jniEnv = found == JNI_OK || attached ? static_cast<JNIEnv*>(env) : nullptr;
  simClass = nullptr;
  if (jniEnv != nullptr) findSimClass();
  return attached;
}

void releaseJniEnv(bool attached) noexcept {
  if (!attached) return;
  if (JavaVM* const vm = findJvm(); vm != nullptr) vm->DetachCurrentThread();
}

void leaveJniEnv(JNIEnv* outerEnv, jclass outerClass) noexcept {
  if (jniEnv != nullptr && simClass != nullptr && simClass != outerClass)
    jniEnv->DeleteLocalRef(simClass);
  jniEnv = outerEnv;
  simClass = outerClass;
}

void clearJavaException() noexcept {
  if (jniEnv == nullptr || !exceptionMayPend) return;
  exceptionMayPend = false;
  if (!jniEnv->ExceptionCheck()) return;
  jniEnv->ExceptionDescribe();
  jniEnv->ExceptionClear();
}

// An open bracket may be one of another thread that waits for this one.
CallbackGuard::CallbackGuard() noexcept
    : env(jniEnv != nullptr && threadEnv() == jniEnv ? jniEnv : nullptr) {}

CallbackGuard::~CallbackGuard() {
  exceptionMayPend = true;
  if (env == nullptr || threadEnv() == env) return;
  // The class went with the attachment. Who attached the thread at first, a bracket of ours or the
  // importer, will also detach it.
  jniEnv = nullptr;
  ensureJniEnv();
}

JniBracket::JniBracket() noexcept
    : outerEnv(jniEnv), outerClass(simClass), attached(ensureJniEnv()) {}

JniBracket::~JniBracket() {
  leaveJniEnv(outerEnv, outerClass);
  releaseJniEnv(attached);
}
