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
void* symbol(const char* name) {
  void* const address = dlsym(library, name);
  return address != nullptr ? address : (fail(std::string("no function ") + name), nullptr);
}

// The library's function of that name: FMI(fmi2Reset)(c).
#define FMI(function) reinterpret_cast<decltype(&function)>(symbol(#function))

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
  const auto instantiated = FMI(fmi2Instantiate)(
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
  FMI(fmi2FreeInstance)(instances[index]);
  if (before - blocks.size() != 8) fail("a freed instance kept memory");
  instances.erase(instances.begin() + static_cast<std::ptrdiff_t>(index));
  return fmi2OK;
}

template <class Function, class Element>
fmi2Status values(Function* function, Element) {
  const std::size_t count = below(8);
  Array<fmi2ValueReference> references(count);
  Array<Element> elements(count);
  for (std::size_t i = 0; references.data != nullptr && i < count; ++i)
    references.data[i] = static_cast<fmi2ValueReference>(
        chance(10) ? oneOf<std::size_t>({12, 4294967295u, 2147483648u, 1000}) : below(12));
  return function(anyInstance(), references.data, count, elements.data);
}

fmi2Status realStatus() {
  // Any number may come as a kind; calling through int keeps the enumeration's range out of it.
  using AnyKind = fmi2Status(fmi2Component, int, fmi2Real*);
  return reinterpret_cast<AnyKind*>(symbol("fmi2GetRealStatus"))(
      anyInstance(), chance(10) ? static_cast<int>(randomness()) : static_cast<int>(below(4)),
      Array<fmi2Real>(1).data);
}

// Most often the right length of an array of model exchange.
std::size_t about(std::size_t count) {
  return chance(10) ? below(5000000000u) : count;
}

// Takes a new instance as far as it goes, so that steps are reached often enough.
fmi2Status live() {
  const fmi2Component c = anyInstance();
  if (c == nullptr) return fmi2OK;
  FMI(fmi2Reset)(c);
  FMI(fmi2EnterInitializationMode)(c);
  return FMI(fmi2ExitInitializationMode)(c), fmi2OK;
}

fmi2Status setDebugLogging() {
  const std::size_t count = below(3);
  Array<fmi2String> names(count, oneOf<fmi2String>({"logAll", "logFmiCall", "?", nullptr}));
  return FMI(fmi2SetDebugLogging)(anyInstance(), oneOf({0, 1}), count, names.data);
}

struct Call {
  const char* name;
  fmi2Status (*call)();
};
// clang-format off
#define CALL(function, ...) {#function, [] { return FMI(function)(anyInstance() __VA_OPT__(,) __VA_ARGS__); }}
#define RARELY(in, function) {#function, [] { return chance(in) ? FMI(function)(anyInstance()) : fmi2OK; }}
#define VALUES(function, value) {#function, [] { return values(FMI(function), value); }}
const std::vector<Call> calls = {
  {"fmi2Instantiate", instantiate},
  {"fmi2FreeInstance", freeInstance},
  {"a life", live},  // third
  RARELY(5, fmi2Reset), RARELY(5, fmi2Terminate), RARELY(9, fmi2CancelStep),
  CALL(fmi2EnterInitializationMode), CALL(fmi2ExitInitializationMode),
  CALL(fmi2EnterEventMode), CALL(fmi2EnterContinuousTimeMode),
  CALL(fmi2SetupExperiment, oneOf({0, 1, 5}), anyDouble(), anyDouble(), oneOf({0, 1, -1}), anyDouble()),
  {"fmi2SetDebugLogging", setDebugLogging},
  VALUES(fmi2GetReal, fmi2Real()), VALUES(fmi2GetInteger, fmi2Integer()),
  VALUES(fmi2SetReal, fmi2Real()),
  CALL(fmi2DoStep, anyDouble(), chance(20) ? anyDouble() : 0.5, oneOf({0, 1})),
  {"fmi2GetRealStatus", realStatus},
  CALL(fmi2SetTime, anyDouble()),
  CALL(fmi2NewDiscreteStates, Array<fmi2EventInfo>(1).data),
  CALL(fmi2CompletedIntegratorStep, fmi2True, Array<fmi2Boolean>(1).data, Array<fmi2Boolean>(1).data),
  CALL(fmi2GetEventIndicators, Array<fmi2Real>(1).data, about(1)),
  CALL(fmi2GetDerivatives, Array<fmi2Real>(0).data, about(0)),
  CALL(fmi2GetNominalsOfContinuousStates, Array<fmi2Real>(0).data, about(0)),
  CALL(fmi2GetRealOutputDerivatives, nullptr, 3, nullptr, Array<fmi2Real>(3).data),
  CALL(fmi2GetFMUstate, nullptr),
};
// clang-format on

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
