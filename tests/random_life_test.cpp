// Drives the library with random FMI calls against a Java object that answers at random, and checks
// after each call what must hold whatever happens. A seed replays its run exactly: the variable
// LIFE replaces the lives below by one, as in LIFE="7 250000 getData".
#include <limits>
#include <random>

#include "importer.h"

namespace {

std::mt19937_64 randomness;

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

const fmi2CallbackFunctions callbacks{logger, allocateMemory, freeMemory, nullptr, &importer};
std::vector<C> living;
bool withoutHandle = false;  // a call without an instance has nobody to tell

C anyInstance() {
  withoutHandle = living.empty() || chance(50);
  return withoutHandle ? nullptr : living[below(living.size())];
}

// An array for the importer's side of a call, fenced; NULL now and then.
template <class Element>
struct Array {
  explicit Array(std::size_t count, Element value = {}) : size(count * sizeof(Element)) {
    if (chance(30)) return;
    data = static_cast<Element*>(fenced(size));
    for (std::size_t i = 0; i < count; ++i) data[i] = value;
  }
  ~Array() {
    if (data != nullptr) giveBack({data, size});
  }
  std::size_t size;
  Element* data = nullptr;
};

fmi2Status instantiate() {
  if (living.size() >= 5) return fmi2OK;
  importer.requests.clear();
  importer.refused = chance(15) ? 1 + below(8) : 0;
  const std::size_t before = importer.blocks.size();
  const fmi2String name =
      oneOf<fmi2String>({"a", "b", "a", "\xF0\x9F\x98\x80", "\xff\xc0", "", nullptr});
  const fmi2Type type = chance(3) ? fmi2ModelExchange : fmi2CoSimulation;
  const auto instantiated = FMI(fmi2Instantiate)(
      name, type, chance(20) ? oneOf<fmi2String>({"", nullptr, "{x}"}) : guid,
      oneOf<fmi2String>({"file:///tmp", nullptr, ""}), chance(60) ? nullptr : &callbacks, fmi2False,
      chance(2) ? fmi2True : fmi2False);
  if (instantiated != nullptr) living.push_back(instantiated);
  EXPECT_EQ(importer.blocks.size() - before, instantiated != nullptr ? 8u : 0u);
  return fmi2OK;
}

fmi2Status freeInstance() {
  if (!chance(4) || living.empty()) return fmi2OK;
  std::swap(living[below(living.size())], living.back());
  const std::size_t before = importer.blocks.size();
  FMI(fmi2FreeInstance)(living.back());
  living.pop_back();
  EXPECT_EQ(before - importer.blocks.size(), 8u);
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

// Most often the right length of an array of model exchange.
std::size_t about(std::size_t count) {
  return chance(10) ? below(5000000000u) : count;
}

// Takes a new instance as far as it goes, so that steps are reached often enough.
fmi2Status live() {
  const C c = anyInstance();
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
const Call functionCalls[] = {
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
  CALL(fmi2GetRealStatus, oneOf({fmi2DoStepStatus, fmi2LastSuccessfulTime}), Array<fmi2Real>(1).data),
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

// The seed, how many calls, and which method the Java object has lost.
class RandomLife : public Host, public testing::WithParamInterface<std::string> {
 protected:
  bool foreign = false;

  // As a logger that uses Java itself and fails.
  void leaveException() const {
    void* found = nullptr;
    if (vm->GetEnv(&found, JNI_VERSION_1_8) != JNI_OK) return;
    auto* const own = static_cast<JNIEnv*>(found);
    if (own->ExceptionCheck()) return;
    const jclass error = own->FindClass("java/lang/Error");
    own->ThrowNew(error, "left by the logger");
    own->DeleteLocalRef(error);
  }

  // As a logger that passes messages on to Java, and finds the thread attached by the library.
  void detach() const {
    void* none = nullptr;
    vm->AttachCurrentThread(&none, nullptr);
    vm->DetachCurrentThread();
  }

  void callOnce() {
    // Left alone, every instance would soon sit in its error state.
    const auto& [name, call] =
        chance(4) ? functionCalls[2] : functionCalls[below(std::size(functionCalls))];
    SCOPED_TRACE(name);
    env->ExceptionClear();  // as an importer's own JNI code would
    const std::string before = play("calls", chance(3) ? "calm" : "usual");
    fmi2Status result = fmi2OK;
    const auto work = [&, call = call] { result = call(); };
    foreign = chance(10);
    foreign ? onForeignThread(work) : work();
    const Lines told = std::exchange(importer.seen, {});
    const auto heard = [&told](const char* text) {
      return std::ranges::any_of(told, [=](auto& line) { return line.find(text) < line.size(); });
    };
    EXPECT_TRUE(!heard(" NULL: ") || heard("Missing")) << "a message without a name";
    EXPECT_TRUE(result != fmi2Error || heard("Error ") || withoutHandle) << "no message";
    for (const char* refusal :
         {"Illegal call sequence", "Invalid argument", "Missing ", "Wrong GUID"})
      EXPECT_TRUE(!heard(refusal) || play("calls") == before) << "a refused call reached Java";
    for (const C c : living) EXPECT_NE(nameOf(record(c).state), "no state");
    for (const auto& block : importer.blocks) EXPECT_TRUE(intact(block));
  }
};

TEST_P(RandomLife, KeepsWhatMustHoldWhateverHappens) {
  std::istringstream life(GetParam());
  std::string seed, lost = "none";
  int count = 0;
  life >> seed >> count >> lost;
  start(DOUBLE_JAR, {"-Djava.system.class.loader=MissingMethods", "-Dmissing=" + lost, "-Xmx256m"});
  play("seed", seed);
  randomness.seed(std::stoul(seed));
  importer.onCallback = [this] {
    if (chance(20)) leaveException();
    if (foreign && chance(5)) detach();
  };
  for (int i = 1; i <= count && !HasFailure(); ++i) {
    SCOPED_TRACE("call " + std::to_string(i));
    callOnce();
  }
  while (!living.empty()) freeInstance();
  importer.seen.clear();
}

Lines lives() {
  if (const char* const life = std::getenv("LIFE")) return {life};
  return {"1 40000",
          "2 40000",
          "3 20000 doStepModel",
          "4 20000 getData",
          "5 20000 getLasterror",
          "6 20000 doFreeInstance",
          "7 20000 setReal",
          "8 20000 getProp"};
}

INSTANTIATE_TEST_SUITE_P(Each, RandomLife, testing::ValuesIn(lives()));

}  // namespace
