// What the machine can do to the library: a JVM that is gone or refuses a thread, JNI functions
// that run out of memory, a thread that dies attached. The real JVM does these things rarely, so
// its own function tables are made to.
#include "importer.h"

namespace {

// Counts down to the request that gets no memory; 0: every request gets some.
std::size_t requestsLeft = 0;

}  // namespace

// The process's own comes before the JVM's. It answers so many queries as the JVM does, and then
// `vmCode`, with what the JVM filled in.
int queriesLeft = -1;
jint vmCode = JNI_OK;
JavaVM* secondVm = nullptr;  // reported behind the real one

extern "C" [[gnu::visibility("default")]] jint JNICALL JNI_GetCreatedJavaVMs(JavaVM** vms,
                                                                             jsize length,
                                                                             jsize* count) {
  static const auto real =
      reinterpret_cast<decltype(&JNI_GetCreatedJavaVMs)>(dlsym(RTLD_NEXT, "JNI_GetCreatedJavaVMs"));
  const jint code = real(vms, length, count);
  if (secondVm != nullptr && ++*count == 2 && length == 2) vms[1] = secondVm;
  return queriesLeft == 0 ? vmCode : (--queriesLeft, code);
}

// The library shares the C++ runtime of the process, and so these two.
[[gnu::noinline]] void* operator new(std::size_t size) {
  void* const memory = requestsLeft == 1 ? nullptr : std::malloc(size);
  if (requestsLeft > 0) --requestsLeft;
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}
[[gnu::noinline]] void operator delete(void* memory) noexcept {
  std::free(memory);
}
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}

namespace {

class MachineFaults : public Running {
 protected:
  // One function of the environment answers nothing for as long as `work` runs.
  template <class Result, class... Arguments>
  void without(Result (JNICALL* JNINativeInterface_::*function)(JNIEnv*, Arguments...),
               const std::function<void()>& work) {
    const JNINativeInterface_* const original = env->functions;
    JNINativeInterface_ table = *original;
    table.*function = [](JNIEnv*, Arguments...) -> Result { return {}; };
    env->functions = &table;
    work();
    env->functions = original;
  }
};

}  // namespace

TEST_F(MachineFaults, AFailingJniFunctionFailsItsCallAndNothingElse) {
  const auto c = initialized();
  without(&JNINativeInterface_::NewStringUTF, [&] {
    EXPECT_EQ(set(c, 4, 1.0), fmi2Error);  // number_of_reals cannot be asked
    EXPECT_EQ(log(), Lines{"Error logError m: fmi2SetReal: Illegal value reference 4."});
  });
  EXPECT_EQ(calls(), Lines{});

  const auto d = initialized("d");
  const auto step = [&](fmi2Status expected, const Lines& expectedLog) {
    EXPECT_EQ(FMI(fmi2DoStep)(d, 0, 1, fmi2True), expected);
    EXPECT_EQ(log(), expectedLog);
    FMI(fmi2Reset)(d);
    FMI(fmi2EnterInitializationMode)(d);
    FMI(fmi2ExitInitializationMode)(d);
  };
  without(&JNINativeInterface_::NewDoubleArray,
          [&] { step(fmi2Error, {"Error logError d: Error: because"}); });
  play("getData", "8 9");
  const auto before = reals(d);
  without(&JNINativeInterface_::GetDoubleArrayElements, [&] {
    EXPECT_EQ(FMI(fmi2DoStep)(d, 0, 1, fmi2True), fmi2OK);
    EXPECT_EQ(reals(d), before);
  });
  play("doStepModel", "false");
  without(&JNINativeInterface_::GetStringUTFChars, [&] {
    // No counts, so no inputs either, and no text to say why the step failed.
    step(fmi2Error, {"Error logError d: Error: "});
  });
  play("doStepModel");
  play("getData");
  without(&JNINativeInterface_::NewGlobalRef, [&] {
    EXPECT_NE(instantiate("e"), nullptr) << "the object of the last connection serves on";
  });
  calls();
  without(&JNINativeInterface_::FindClass, [&] {
    step(fmi2Error, {"Error logError d: Error: "});
    EXPECT_EQ(log(), Lines{"Error logFmiCall d: Fatal error initializing model"});
  });
  EXPECT_EQ(calls(), Lines{});
  FMI(fmi2ExitInitializationMode)(d);
  step(fmi2OK, {});
}

TEST_F(MachineFaults, AThreadThatTheJvmRefusesCallsNothing) {
  const auto c = initialized();
  const JNIInvokeInterface_* const original = vm->functions;
  JNIInvokeInterface_ table = *original;
  table.AttachCurrentThread = [](JavaVM*, void**, void*) -> jint { return JNI_ENOMEM; };
  vm->functions = &table;
  onForeignThread([&] { EXPECT_EQ(FMI(fmi2DoStep)(c, 0, 1, fmi2True), fmi2Error); });
  vm->functions = original;
  EXPECT_EQ(log(), Lines{"Error logError m: Error: "});
  EXPECT_EQ(calls(), Lines{});
}

TEST_F(MachineFaults, AQueryForTheJvmThatFailsFailsItsCallAndLeavesNoThreadAttached) {
  const auto c = initialized();
  vmCode = JNI_ERR;
  const auto query = [&](int answered, const std::function<void()>& work) {
    record(c).state = InstanceState::StepComplete;
    onForeignThread([&] {
      queriesLeft = answered;
      work();
      queriesLeft = -1;
    });
    return seen();
  };
  for (const int answered : {0, 1})
    EXPECT_EQ(query(answered, [&] { EXPECT_EQ(set(c, 4, 1), fmi2Error); }),
              "Error logError m: fmi2SetReal: Illegal value reference 4.");
  // Two queries open the bracket and two the nested one; the last two are for detaching.
  for (const int answered : {4, 5})
    EXPECT_NE(query(answered, [&] { EXPECT_EQ(set(c, 4, 1), fmi2OK); }), "");
  secondVm = reinterpret_cast<JavaVM*>(&vmCode);
  EXPECT_NE(query(-1, [&] { EXPECT_EQ(set(c, 4, 1), fmi2OK) << "the first JVM serves"; }), "");
  secondVm = nullptr;
}

// The JNI calls that the library makes; what they call themselves is the JVM's own business.
const JNINativeInterface_* jvmFunctions;
std::string jniCalls;
int jniDepth = 0;

// Of the arguments, what the library decides: lengths and modes.
template <class Argument>
std::string shown(Argument argument) {
  if constexpr (std::is_same_v<Argument, jint>) return '/' + std::to_string(argument);
  return "";
}

template <auto function>
struct Recorded;
template <class Result, class... Arguments,
          Result (JNICALL* JNINativeInterface_::*function)(JNIEnv*, Arguments...)>
struct Recorded<function> {
  static inline std::string name;
  static Result JNICALL call(JNIEnv* env, Arguments... arguments) {
    if (jniDepth++ == 0) jniCalls += (name + ... + shown(arguments)) + ' ';
    const struct Leave {
      ~Leave() { --jniDepth; }
    } leave;
    return (jvmFunctions->*function)(env, arguments...);
  }
};

TEST_F(MachineFaults, EveryCallLooksUpAnewAndMakesTheseJniCallsOnly) {
  const auto c = initialized();
  jvmFunctions = env->functions;
  JNINativeInterface_ table = *jvmFunctions;
#define RECORD(function)                                       \
  Recorded<& JNINativeInterface_::function>::name = #function; \
  table.function = Recorded<&JNINativeInterface_::function>::call
  RECORD(FindClass);
  RECORD(GetMethodID);
  RECORD(CallBooleanMethodV);
  RECORD(CallObjectMethodV);
  RECORD(CallVoidMethodV);
  RECORD(DeleteGlobalRef);
  RECORD(DeleteLocalRef);
  RECORD(NewStringUTF);
  RECORD(GetStringUTFChars);
  RECORD(ReleaseStringUTFChars);
  RECORD(GetArrayLength);
  RECORD(NewDoubleArray);
  RECORD(GetDoubleArrayElements);
  RECORD(ReleaseDoubleArrayElements);
  RECORD(SetDoubleArrayRegion);
  RECORD(ExceptionCheck);
  RECORD(IsInstanceOf);
  RECORD(IsSameObject);
  RECORD(GetObjectClass);
  RECORD(GetDoubleArrayRegion);
  RECORD(ExceptionOccurred);
#undef RECORD
  // DeleteLocalRef is left out: when a short-lived reference goes is not the point.
  const std::string open = "ExceptionCheck FindClass ",
                    count = open +
                            "GetMethodID NewStringUTF NewStringUTF CallObjectMethodV "
                            "ExceptionCheck GetStringUTFChars "
                            "ReleaseStringUTFChars ";
  const auto made = [&](auto function, auto... arguments) {
    env->functions = &table;
    EXPECT_EQ(function(c, arguments...), fmi2OK);
    env->functions = jvmFunctions;
    auto calls = std::exchange(jniCalls, "");
    for (std::size_t at; (at = calls.find("DeleteLocalRef ")) < calls.size();) calls.erase(at, 15);
    return calls;
  };
  const fmi2ValueReference vr[] = {4, 5};
  double values[] = {40, 50};
  const std::string setOne =
      "GetMethodID NewStringUTF ExceptionCheck CallVoidMethodV ExceptionCheck ";
  EXPECT_EQ(made(FMI(fmi2SetReal), vr, 2, values), open + count + setOne + setOne);
  EXPECT_EQ(made(FMI(fmi2DoStep), 0, 1, 0),
            open + count + count +
                "ExceptionCheck GetMethodID NewStringUTF NewDoubleArray/3 SetDoubleArrayRegion/0/3 "
                "CallBooleanMethodV ExceptionCheck GetMethodID ExceptionCheck NewStringUTF "
                "CallObjectMethodV ExceptionCheck GetArrayLength GetDoubleArrayElements "
                "ReleaseDoubleArrayElements/0 ExceptionCheck ExceptionCheck ");
  EXPECT_EQ(made(FMI(fmi2GetReal), vr, 2, values), open + count + count);
  EXPECT_EQ(made(FMI(fmi2GetReal), vr, 2, values), count);
  EXPECT_EQ(made(FMI(fmi2Terminate)),
            open + "GetMethodID NewStringUTF CallVoidMethodV ExceptionCheck ");
  seen();
}

TEST_F(MachineFaults, AThreadMayDieAttached) {
  fmi2Component c = nullptr;
  std::thread([&] {
    JNIEnv* own = nullptr;
    ASSERT_EQ(vm->AttachCurrentThread(reinterpret_cast<void**>(&own), nullptr), JNI_OK);
    c = instantiate();
    vm->DetachCurrentThread();
    ASSERT_EQ(vm->AttachCurrentThread(reinterpret_cast<void**>(&own), nullptr), JNI_OK);
    EXPECT_EQ(set(c, 4, 1.0), fmi2OK);
  }).join();
  EXPECT_EQ(FMI(fmi2EnterInitializationMode)(c), fmi2OK);
  EXPECT_EQ(FMI(fmi2ExitInitializationMode)(c), fmi2OK);
  EXPECT_EQ(FMI(fmi2DoStep)(c, 0, 1, fmi2True), fmi2OK);
}

TEST_F(MachineFaults, CallsAfterTheEndOfTheJvmFailPolitely) {
  const auto c = initialized();
  ASSERT_EQ(vm->DestroyJavaVM(), JNI_OK);
  EXPECT_EQ(FMI(fmi2DoStep)(c, 0, 1, fmi2True), fmi2Error);
  EXPECT_EQ(log(), Lines{"Error logError m: Error: "});
  EXPECT_EQ(instantiate("late"), nullptr);
  EXPECT_EQ(log(),
            (Lines{"Error error late: fmi2Instantiate: Process error", "Error error late: "}));
  EXPECT_EQ(FMI(fmi2Reset)(c), fmi2OK);
}

TEST_F(MachineFaults, EveryRequestForMemoryMayFail) {
  // Texts that are no ASCII and long answers make the library ask for memory in each of its calls.
  const char* const name = "Gr\u00f6\u00dfe mit einem langen Namen";
  play("getLasterror", "because of a reason that is longer than a short string {E4}{F6}{FC}");
  const fmi2ValueReference vr = 4;
  double value = 1;
  fmi2Component c = nullptr;
  const std::function<void()> life[] = {
      [&] {
        c = FMI(fmi2Instantiate)(name, fmi2CoSimulation, guid, "file:///\u00e4", &functions, 0, 0);
      },
      [&] { return FMI(fmi2SetupExperiment)(c, 0, 0, 0, 0, 0); },
      [&] { return FMI(fmi2EnterInitializationMode)(c); },
      [&] { return FMI(fmi2ExitInitializationMode)(c); },
      [&] { return FMI(fmi2SetReal)(c, &vr, 1, &value); },
      [&] { return FMI(fmi2DoStep)(c, 0, 1, fmi2True); },
      [&] { return FMI(fmi2GetReal)(c, &vr, 1, &value); },
      [&] { return FMI(fmi2Terminate)(c); },
      [&] { return FMI(fmi2FreeInstance)(c); }};
  importer.onCallback = [] {};
  importer.requests.reserve(2000);
  importer.freed.reserve(2000);
  importer.blocks.reserve(20);
  const auto answer = [&](const char* behaviour) {
    for (const char* method : {"doSetupExperiment", "doInitializeModel", "doStepModel"})
      play(method, behaviour);
  };
  for (const char* behaviour : {"true", "false"}) {
    answer(behaviour);
    for (std::size_t struck = 0; struck < std::size(life); ++struck)
      for (std::size_t k = 1; k <= 12; ++k) {
        for (std::size_t i = 0; i < std::size(life); ++i) {
          requestsLeft = i == struck ? k : 0;
          life[i]();
          requestsLeft = 0;
          if (c == nullptr) break;
        }
        ASSERT_EQ(importer.blocks.size(), 0u) << "call " << struck << ", request " << k;
      }
  }
  const std::string told = seen();
  for (const char* function :
       {"fmi2Instantiate", "fmi2SetReal", "fmi2DoStep", "fmi2ExitInitializationMode"})
    EXPECT_NE(told.find(function + std::string(": Out of memory.")), std::string::npos) << function;
  answer("usual");
  EXPECT_EQ(FMI(fmi2DoStep)(initialized("after"), 0, 1, fmi2True), fmi2OK);
  seen();
}
