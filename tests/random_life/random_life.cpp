// Drives the library with random FMI calls against a Java object that answers at random, and checks
// after each call what must hold whatever happens. A seed replays its run exactly:
//
//   random_life ZELVOX_SO CLASS_PATH SEED CALLS [LOST_METHOD]
#include <dlfcn.h>
#include <jni.h>
#include <unistd.h>

#include <array>
#include <bit>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <limits>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "fmi2Functions.h"
#include "instance/fmu_instance.h"

// The JVM handles SIGSEGV itself and never gives its memory back.
extern "C" const char* __asan_default_options();
extern "C" const char* __asan_default_options() {
  return "handle_segv=0:detect_leaks=0";
}

namespace {

std::mt19937_64 randomness;
std::string currentCall = "start";
unsigned long callNumber = 0;

[[noreturn]] void fail(const std::string& what) {
  std::fprintf(stderr, "call %lu, %s: %s\n", callNumber, currentCall.c_str(), what.c_str());
  _exit(1);
}

std::size_t below(std::size_t n) {
  return randomness() % n;
}
bool chance(std::size_t in) {
  return below(in) == 0;
}
template <class Value>
Value oneOf(std::initializer_list<Value> values) {
  return values.begin()[below(values.size())];
}
double anyDouble() {
  constexpr double inf = std::numeric_limits<double>::infinity();
  return oneOf({0.0, -1.0, 1e-3, 0.5, 1e300, -inf, inf, std::nan("")});
}

// Memory with a fence on both sides. The library must stay between them.
constexpr std::size_t fence = 64;
std::map<void*, std::size_t> blocks;
std::size_t allocationsUntilFailure = 0;  // 0: none fails

void* allocate(size_t count, size_t size) {
  if (allocationsUntilFailure > 0 && --allocationsUntilFailure == 0) return nullptr;
  if (size != 0 && count > (1u << 20)) return nullptr;
  const std::size_t bytes = count * size;
  auto* const block = static_cast<char*>(std::malloc(bytes + 2 * fence));
  std::memset(block, 0xA5, bytes + 2 * fence);
  std::memset(block + fence, 0, bytes);
  blocks[block + fence] = bytes;
  return block + fence;
}
bool intact(void* memory, std::size_t bytes) {
  const auto* const start = static_cast<unsigned char*>(memory) - fence;
  for (std::size_t i = 0; i < fence; ++i)
    if (start[i] != 0xA5 || start[fence + bytes + i] != 0xA5) return false;
  return true;
}
void release(void* memory) {
  const auto block = blocks.find(memory);
  if (block == blocks.end()) fail("memory freed that was never given, or twice");
  if (!intact(memory, block->second)) fail("wrote beyond its memory");
  blocks.erase(block);
  std::free(static_cast<char*>(memory) - fence);
}

JavaVM* vm = nullptr;
thread_local bool foreignThread = false;

// As a logger that passes messages on to Java, and finds the thread attached by the library.
void detach() {
  void* env = nullptr;
  vm->AttachCurrentThread(&env, nullptr);
  vm->DetachCurrentThread();
}

// As a logger that uses Java itself and fails.
void leaveException() {
  void* found = nullptr;
  if (vm->GetEnv(&found, JNI_VERSION_1_8) != JNI_OK) return;
  auto* const env = static_cast<JNIEnv*>(found);
  if (env->ExceptionCheck()) return;
  const jclass error = env->FindClass("java/lang/Error");
  env->ThrowNew(error, "left by the logger");
  env->DeleteLocalRef(error);
}

// What the last call told the logger.
int errors = 0;
bool refused = false;
void listen(fmi2ComponentEnvironment, fmi2String name, fmi2Status status, fmi2String category,
            fmi2String format, ...) {
  std::array<char, 512> text{};
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text.data(), text.size(), format, arguments);
  va_end(arguments);
  if (category == nullptr) fail("a message without category");
  if (name == nullptr && std::strstr(format, "Missing") == nullptr) fail("a message without name");
  if (status == fmi2Error) ++errors;
  for (const char* refusal :
       {"Illegal call sequence", "Invalid argument", "Missing ", "Wrong GUID"})
    if (std::strstr(text.data(), refusal) != nullptr) refused = true;
  if (chance(20)) leaveException();
  if (foreignThread && chance(5)) detach();
}
const fmi2CallbackFunctions callbacks = {listen, allocate, release, nullptr, nullptr};

// -Xcheck:jni reports through the JVM's "vfprintf".
std::string jniWarning;
jint hearJvm(FILE*, const char* format, va_list arguments) {
  std::array<char, 512> text{};
  const int length = std::vsnprintf(text.data(), text.size(), format, arguments);
  for (const char* sign : {"WARNING in native", "FATAL ERROR", "exceeds capacity"})
    if (std::strstr(text.data(), sign) != nullptr) jniWarning = text.data();
  return length;
}

jclass javaSide = nullptr;
jmethodID javaCalls = nullptr;

JNIEnv* startJvm(const std::string& classPath, const std::string& lostMethod) {
  std::vector<std::string> texts = {"-Djava.class.path=" + classPath, "-Xcheck:jni", "-Xss2m",
                                    "-Xmx256m"};
  if (!lostMethod.empty()) {
    texts.push_back("-Djava.system.class.loader=MissingMethods");
    texts.push_back("-Dmissing=" + lostMethod);
  }
  std::vector<JavaVMOption> options = {
      {const_cast<char*>("vfprintf"), reinterpret_cast<void*>(hearJvm)}};
  for (auto& text : texts) options.push_back({text.data(), nullptr});
  JavaVMInitArgs arguments{};
  arguments.version = JNI_VERSION_1_8;
  arguments.nOptions = static_cast<jint>(options.size());
  arguments.options = options.data();
  void* env = nullptr;
  if (JNI_CreateJavaVM(&vm, &env, &arguments) != JNI_OK) fail("no JVM");
  return static_cast<JNIEnv*>(env);
}

void* library = nullptr;
template <class Function>
Function* fmi(const char* name) {
  auto* const address = dlsym(library, name);
  if (address == nullptr) fail(std::string("no function ") + name);
  return reinterpret_cast<Function*>(address);
}

constexpr const char* guid = "{6F1C2D3A-8B4E-4F70-9A1D-2E5B7C9D0F13}";
std::vector<fmi2Component> instances;
bool withoutHandle = false;  // a call without an instance has nobody to tell

fmi2Component anyInstance() {
  withoutHandle = instances.empty() || chance(50);
  return withoutHandle ? nullptr : instances[below(instances.size())];
}

// An array for the importer's side of a call, fenced; NULL now and then.
template <class Element>
struct Array {
  explicit Array(std::size_t count, Element value = {}) : count(count) {
    if (chance(30)) return;
    data = static_cast<Element*>(allocate(count, sizeof(Element)));
    for (std::size_t i = 0; i < count; ++i) data[i] = value;
  }
  ~Array() {
    if (data != nullptr) release(data);
  }
  std::size_t count;
  Element* data = nullptr;
};

fmi2Status instantiate() {
  if (instances.size() >= 5) return fmi2OK;
  if (chance(15)) allocationsUntilFailure = 1 + below(8);
  const std::size_t before = blocks.size();
  const fmi2String name =
      oneOf<fmi2String>({"a", "b", "a", "\xF0\x9F\x98\x80", "\xff\xc0", "", nullptr});
  const fmi2Type type = chance(3) ? fmi2ModelExchange : fmi2CoSimulation;
  const auto instantiated = fmi<fmi2InstantiateTYPE>("fmi2Instantiate")(
      name, type, chance(20) ? oneOf<fmi2String>({"", nullptr, "{x}"}) : guid,
      oneOf<fmi2String>({"file:///tmp", nullptr, ""}), chance(60) ? nullptr : &callbacks, fmi2False,
      chance(2) ? fmi2True : fmi2False);
  allocationsUntilFailure = 0;
  if (instantiated != nullptr)
    instances.push_back(instantiated);
  else if (blocks.size() != before)
    fail("memory kept by a failed instantiation");
  return fmi2OK;
}

fmi2Status freeInstance() {
  if (!chance(4) || instances.empty()) return fmi2OK;
  const std::size_t index = below(instances.size());
  const std::size_t before = blocks.size();
  fmi<fmi2FreeInstanceTYPE>("fmi2FreeInstance")(instances[index]);
  if (before - blocks.size() != 8) fail("a freed instance kept memory");
  instances.erase(instances.begin() + static_cast<std::ptrdiff_t>(index));
  return fmi2OK;
}

template <class Element, class Function>
fmi2Status values(const char* name) {
  const std::size_t count = below(8);
  Array<fmi2ValueReference> references(count);
  Array<Element> elements(count);
  for (std::size_t i = 0; references.data != nullptr && i < count; ++i)
    references.data[i] = static_cast<fmi2ValueReference>(
        chance(10) ? oneOf<std::size_t>({12, 4294967295u, 2147483648u, 1000}) : below(12));
  return fmi<Function>(name)(anyInstance(), references.data, count, elements.data);
}

// The functions whose only argument is the instance.
fmi2Status simple(const char* name) {
  return fmi<fmi2ResetTYPE>(name)(anyInstance());
}

template <class Value, class Function>
fmi2Status status(const char* name) {
  Array<Value> value(1);
  // Any number may come as a kind; calling through int keeps the enumeration's range out of it.
  using AnyKind = fmi2Status(fmi2Component, int, Value*);
  return reinterpret_cast<AnyKind*>(fmi<Function>(name))(
      anyInstance(), chance(10) ? static_cast<int>(randomness()) : static_cast<int>(below(4)),
      value.data);
}

template <class Function>
fmi2Status states(const char* name, std::size_t count) {
  Array<fmi2Real> array(count);
  return fmi<Function>(name)(anyInstance(), array.data, chance(10) ? below(5000000000u) : count);
}

// Takes a new instance as far as it goes, so that steps are reached often enough.
fmi2Status live() {
  const fmi2Component c = anyInstance();
  if (c == nullptr) return fmi2OK;
  for (const char* step :
       {"fmi2Reset", "fmi2EnterInitializationMode", "fmi2ExitInitializationMode"})
    fmi<fmi2ResetTYPE>(step)(c);
  return fmi2OK;
}

using Call = std::function<fmi2Status()>;
const std::vector<std::pair<const char*, Call>> calls = {
    {"fmi2Instantiate", instantiate},
    {"fmi2FreeInstance", freeInstance},
    {"a life", live},  // third
    {"fmi2Reset", [] { return chance(5) ? simple("fmi2Reset") : fmi2OK; }},
    {"fmi2Terminate", [] { return chance(5) ? simple("fmi2Terminate") : fmi2OK; }},
    {"fmi2EnterInitializationMode", [] { return simple("fmi2EnterInitializationMode"); }},
    {"fmi2ExitInitializationMode", [] { return simple("fmi2ExitInitializationMode"); }},
    {"fmi2EnterEventMode", [] { return simple("fmi2EnterEventMode"); }},
    {"fmi2EnterContinuousTimeMode", [] { return simple("fmi2EnterContinuousTimeMode"); }},
    {"fmi2CancelStep", [] { return chance(9) ? simple("fmi2CancelStep") : fmi2OK; }},
    {"fmi2SetupExperiment",
     [] {
       return fmi<fmi2SetupExperimentTYPE>("fmi2SetupExperiment")(anyInstance(), oneOf({0, 1, 5}),
                                                                  anyDouble(), anyDouble(),
                                                                  oneOf({0, 1, -1}), anyDouble());
     }},
    {"fmi2SetDebugLogging",
     [] {
       const std::size_t count = below(3);
       Array<fmi2String> names(count, oneOf<fmi2String>({"logAll", "logFmiCall", "?", nullptr}));
       return fmi<fmi2SetDebugLoggingTYPE>("fmi2SetDebugLogging")(anyInstance(), oneOf({0, 1}),
                                                                  count, names.data);
     }},
    {"fmi2GetReal", [] { return values<fmi2Real, fmi2GetRealTYPE>("fmi2GetReal"); }},
    {"fmi2GetInteger", [] { return values<fmi2Integer, fmi2GetIntegerTYPE>("fmi2GetInteger"); }},
    {"fmi2SetReal", [] { return values<fmi2Real, fmi2SetRealTYPE>("fmi2SetReal"); }},
    {"fmi2DoStep",
     [] {
       return fmi<fmi2DoStepTYPE>("fmi2DoStep")(anyInstance(), anyDouble(),
                                                chance(20) ? anyDouble() : 0.5, oneOf({0, 1}));
     }},
    {"fmi2GetRealStatus",
     [] { return status<fmi2Real, fmi2GetRealStatusTYPE>("fmi2GetRealStatus"); }},
    {"fmi2SetTime", [] { return fmi<fmi2SetTimeTYPE>("fmi2SetTime")(anyInstance(), anyDouble()); }},
    {"fmi2NewDiscreteStates",
     [] {
       Array<fmi2EventInfo> info(1);
       return fmi<fmi2NewDiscreteStatesTYPE>("fmi2NewDiscreteStates")(anyInstance(), info.data);
     }},
    {"fmi2CompletedIntegratorStep",
     [] {
       Array<fmi2Boolean> enter(1), terminate(1);
       return fmi<fmi2CompletedIntegratorStepTYPE>("fmi2CompletedIntegratorStep")(
           anyInstance(), fmi2True, enter.data, terminate.data);
     }},
    {"fmi2GetEventIndicators",
     [] { return states<fmi2GetEventIndicatorsTYPE>("fmi2GetEventIndicators", 1); }},
    {"fmi2GetDerivatives", [] { return states<fmi2GetDerivativesTYPE>("fmi2GetDerivatives", 0); }},
    {"fmi2GetNominalsOfContinuousStates",
     [] {
       return states<fmi2GetNominalsOfContinuousStatesTYPE>("fmi2GetNominalsOfContinuousStates", 0);
     }},
    {"fmi2GetRealOutputDerivatives",
     [] {
       Array<fmi2Real> value(3);
       return fmi<fmi2GetRealOutputDerivativesTYPE>("fmi2GetRealOutputDerivatives")(
           anyInstance(), nullptr, 3, nullptr, value.data);
     }},
    {"fmi2GetFMUstate",
     [] { return fmi<fmi2GetFMUstateTYPE>("fmi2GetFMUstate")(anyInstance(), nullptr); }},
};

long countJavaCalls(JNIEnv* env, bool stayCalm) {
  if (env->ExceptionCheck()) env->ExceptionClear();  // as an importer's own JNI code would
  const jlong number =
      env->CallStaticLongMethod(javaSide, javaCalls, static_cast<jboolean>(stayCalm));
  if (env->ExceptionCheck()) fail("the Java side cannot count");
  return static_cast<long>(number);
}

void callOnce(JNIEnv* env, std::array<unsigned long, 6>& results) {
  // Left alone, every instance would soon sit in its error state.
  const auto& [name, call] = chance(4) ? calls[2] : calls[below(calls.size())];
  currentCall = name;
  errors = 0;
  refused = false;
  const long before = countJavaCalls(env, chance(3));
  fmi2Status result = fmi2OK;
  if (chance(10)) {
    std::thread([&] {
      foreignThread = true;
      result = call();
      void* leftBehind = nullptr;
      if (vm->GetEnv(&leftBehind, JNI_VERSION_1_8) != JNI_EDETACHED)
        fail("a thread stays attached");
    }).join();
  } else {
    result = call();
  }
  ++results[static_cast<std::size_t>(result)];
  if (refused && countJavaCalls(env, false) != before) fail("a refused call reached Java");
  if (result == fmi2Error && errors == 0 && !withoutHandle) fail("an error without a message");
  for (const fmi2Component c : instances) {
    const auto state = static_cast<std::uint32_t>(static_cast<FmuInstance*>(c)->state);
    if (!std::has_single_bit(state) || state < 2 || state > 1024) fail("not one state");
  }
  for (const auto& [memory, bytes] : blocks)
    if (!intact(memory, bytes)) fail("wrote beyond its memory");
  if (!jniWarning.empty()) fail(jniWarning);
}

}  // namespace

int main(int argc, char* argv[]) {
  if (argc < 5) {
    std::fprintf(stderr, "usage: %s ZELVOX_SO CLASS_PATH SEED CALLS [LOST_METHOD]\n", argv[0]);
    return 2;
  }
  const std::string seed = argv[3];
  const unsigned long count = std::stoul(argv[4]);
  randomness.seed(std::stoul(seed));
  JNIEnv* const env = startJvm(argv[2], argc > 5 ? argv[5] : "");
  library = dlopen(argv[1], RTLD_NOW);
  if (library == nullptr) fail(dlerror());
  javaSide = env->FindClass("com/zelvox/qorbetta/ZelvoxSim");
  if (javaSide == nullptr) fail("no Java side");
  javaCalls = env->GetStaticMethodID(javaSide, "calls", "(Z)J");
  env->CallStaticVoidMethod(javaSide, env->GetStaticMethodID(javaSide, "seed", "(J)V"),
                            static_cast<jlong>(std::stol(seed)));
  if (env->ExceptionCheck()) fail("no seed");

  std::array<unsigned long, 6> results{};
  for (callNumber = 1; callNumber <= count; ++callNumber) callOnce(env, results);
  while (!instances.empty()) freeInstance();
  if (!blocks.empty()) fail("memory kept");
  std::printf("seed %s: %lu calls, %lu fmi2OK, %lu fmi2Discard, %lu fmi2Error, %ld calls of Java\n",
              seed.c_str(), count, results[fmi2OK], results[fmi2Discard], results[fmi2Error],
              countJavaCalls(env, false));
}
