// The library and the JVM: threads, missing classes and methods, exceptions, references, texts.
#include "importer.h"

// The JVM needs SIGSEGV for itself, and gives back little of its memory when the process ends.
extern "C" const char* __asan_default_options() {
  return "handle_segv=0";
}
extern "C" const char* __lsan_default_suppressions() {
  return "leak:/libj\nleak:/libz\nleak:/libn";
}
extern "C" const char* __ubsan_default_options() {
  return "print_stacktrace=1";
}

namespace {

std::string processError(const std::string& reason) {
  return "Error error m: fmi2Instantiate: Process error | Error error m: " + reason;
}

// One Java method that throws or does not exist, and what the importer sees of a life with it.
struct Fault {
  std::string method, whenThrown, whenMissing = whenThrown;
};

const Fault faults[] = {{"create", processError("Cannot find Java classes")},
                        {"doInitConnection", processError("Not connected")},
                        {"doInstantiate", processError("because")},
                        {"getProp", "Error logError m: fmi2SetReal: Illegal value reference 4."},
                        {"doSetupExperiment", "Error logFmiCall m: because",
                         "Error logFmiCall m: Fatal error setting up experiment"},
                        {"doInitializeModel", "Error logFmiCall m: because",
                         "Error logFmiCall m: Fatal error initializing model"},
                        {"setReal", "1.5"},
                        {"doStepModel", "Error logError m: Error: because"},
                        {"getLasterror", "Error logError m: Error: "},
                        {"getData", "0"},
                        {"doTerminate", "1.5"},
                        {"doFreeInstance", "1.5"}};

class Lives : public Host {
 protected:
  // The messages of a life up to the first call that fails, else the first output after the step.
  // Only the instantiation needs the main thread.
  std::string live(bool foreign = false) {
    const C c = instantiate();
    std::string output;
    const auto work = [&] {
      if (c == nullptr) return;
      if (FMI(fmi2SetupExperiment)(c, 0, 0, 0, 0, 0) == fmi2OK &&
          FMI(fmi2EnterInitializationMode)(c) == fmi2OK &&
          FMI(fmi2ExitInitializationMode)(c) == fmi2OK && set(c, 4, 40) == fmi2OK &&
          FMI(fmi2DoStep)(c, 1, 0.5, 0) == fmi2OK) {
        const double value = get(c, 0);
        output = list(&value, 1);
        EXPECT_EQ(FMI(fmi2Terminate)(c), fmi2OK);
      }
      FMI(fmi2FreeInstance)(c);
    };
    foreign ? onForeignThread(work) : work();
    return joined(log()) + output;
  }
};

class MissingMethod : public Lives, public testing::WithParamInterface<Fault> {};

TEST_P(MissingMethod, FailsItsCallOnlyAndLeavesEveryThreadAsItWas) {
  const auto& [method, thrown, missing] = GetParam();
  start(DOUBLE_JAR, {"-Djava.system.class.loader=MissingMethods", "-Dmissing=" + method});
  if (method == "getLasterror") play("doStepModel", "false");
  EXPECT_EQ(live(true), missing);
  EXPECT_EQ(live(), missing);
  EXPECT_TRUE(method != "doFreeInstance" || play("objects") == "1") << "the object stays";
}

INSTANTIATE_TEST_SUITE_P(Each, MissingMethod, testing::ValuesIn(faults),
                         [](const auto& info) { return info.param.method; });

// So often that a reference left behind each time draws the warning of -Xcheck:jni.
TEST_F(Lives, AMethodThatThrowsFailsItsCallOnlyAndLeavesNoReference) {
  start();
  for (const auto& [method, thrown, missing] : faults) {
    const auto key = method == "getProp" ? "number_of_reals" : method;
    play(key, "throw");
    if (method == "getLasterror") play("doStepModel", "false");
    for (int i = 0; i < 40; ++i) EXPECT_EQ(live(), thrown) << method;
    EXPECT_EQ(live(true), thrown) << method;
    play(key);
    play("doStepModel");
    EXPECT_EQ(live(), "1.5") << "after " << method;
    const auto lines = calls();
    EXPECT_GE(std::ranges::count(lines, "printed"), 40) << method;
  }
  EXPECT_EQ(play("objects"), "0");
}

TEST_F(Running, AnExceptionIsPrintedAndClearedInThesePlaces) {
  initialized();
  const std::string step =
      "getProp m number_of_inputs | getProp m number_of_outputs | "
      "doStepModel m 1.0 0.5 [40.0, 0.0, 0.0] | ";
  for (const auto& [method, command, expected] : std::initializer_list<std::array<std::string, 3>>{
           {"setReal", "set 4 40", "getProp m number_of_reals | setReal m 4 40.0 | printed"},
           {"getData", "step 1 .5", step + "getData m | printed"},
           {"doStepModel", "step 1 .5",
            step + "printed | getLasterror | Error logError m: Error: because -> Error [Error]"},
           {"create", "n.new",
            "create | printed | doInitConnection | doInstantiate n file:///r | "
            "getProp n number_of_reals"},
           // Before a callback within a bracket: the logger may be Java.
           {"number_of_reals", "n.set 4 40",
            "getProp n number_of_reals | printed | "
            "Error logError n: fmi2SetReal: Illegal value reference 4. -> Error [Error]"}}) {
    play(method, "throw");
    EXPECT_EQ(run(command), expected);
    EXPECT_FALSE(env->ExceptionCheck()) << method;
    play(method);
  }
}

TEST_F(Running, AThreadThatStaysAttachedCollectsNothingInThousandsOfCalls) {
  const C c = initialized();
  for (int i = 0; i < 2000; ++i)
    EXPECT_TRUE(set(c, 4, i) == fmi2OK && FMI(fmi2DoStep)(c, i, 1, 0) == fmi2OK &&
                get(c, 2) == 1.5);
}

TEST_F(Running, ACallOnAForeignThreadIsAttachedOncePerBracketAndDetachedAgain) {
  initialized();
  // The main thread learns of the Java calls only at the end of each.
  scenario(R"(
    foreign set 4 40      = getProp m number_of_reals @1 | setReal m 4 40.0 @1
    foreign step 1 .5     = getProp m number_of_inputs @2 | getProp m number_of_outputs @2
                          = doStepModel m 1.0 0.5 [40.0, 0.0, 0.0] @2 | getData m @2
    foreign get 0         = 1.5 | getProp m number_of_outputs @3 | getProp m number_of_reals @4
    java doStepModel throw
    foreign step 1 .5     = Error logError m: Error: because
                          = getProp m number_of_inputs @5 | getProp m number_of_outputs @5
                          = doStepModel m 1.0 0.5 [40.0, 0.0, 0.0] @5 | printed
                          = getLasterror @6 -> Error [Error]
    foreign set 4 40      = Error logError m: fmi2SetReal: Illegal call sequence. -> Error
    foreign n.new         = Error error n: fmi2Instantiate: Process error | Error error n:  -> Error)");
  // A thread that the host attached is the host's to detach.
  std::thread([&] {
    void* own = nullptr;
    EXPECT_EQ(vm->AttachCurrentThread(&own, nullptr), JNI_OK);
    EXPECT_NE(instantiate("n"), nullptr);
    EXPECT_EQ(vm->GetEnv(&own, JNI_VERSION_1_8), JNI_OK);
    vm->DetachCurrentThread();
  }).join();
  EXPECT_TRUE(seen().ends_with("getProp#2 n number_of_reals @7"));
}

// A logger that instantiates takes the place of the reason that follows.
TEST_F(Running, TheReasonOfAFailedConnectionIsThatOfItsOwn) {
  play("doInitConnection", "false");
  bool begun = false;
  const auto usual = std::exchange(importer.onCallback, [&] {
    if (std::exchange(begun, true)) return;
    play("doInitConnection");
    EXPECT_NE(instantiate("n"), nullptr);
  });
  EXPECT_EQ(instantiate(), nullptr);
  importer.onCallback = usual;
  EXPECT_EQ(joined(log()), processError("Not connected"));
}

TEST_F(Host, WithoutAJvmOrItsClassNothingIsConnected) {
  EXPECT_EQ(run("new"), processError("") + " -> Error");
  start("no-such.jar");
  for (int i = 0; i < 2; ++i)
    EXPECT_EQ(run("new"), processError("Cannot find Java classes") + " -> Error");
  EXPECT_EQ(importer.requests, Lines{});
}

TEST_F(Running, TextsKeepEveryCharacterBothWays) {
  for (const auto& [given, inJava] : std::initializer_list<std::array<std::string, 2>>{
           {"Größe", "Gr{F6}{DF}e"},
           {"Ω\U0001F600\U0010FFFF", "{3A9}{D83D}{DE00}{DBFF}{DFFF}"},
           {"\uD7FF\uE000\uFFFF\U00010000", "{D7FF}{E000}{FFFF}{D800}{DC00}"},
           {"a\xFFz", "a{FFFD}z"},
           {"a\x80z", "a{FFFD}z"},
           {"a\xC0\x80z", "a{FFFD}z"},
           {"a\xE0\x80\xAFz", "a{FFFD}z"},
           {"a\xED\xA0\xBDz", "a{FFFD}z"},
           {"a\xF4\x90\x80\x80z", "a{FFFD}z"},
           {"a\xF0\x9F\x98z", "a{FFFD}z"},
           {"a\xF0\x80\x80\xAFz", "a{FFFD}z"},
           {"a\xE2\x82", "a{FFFD}"},
           {"a\xF0\x9F\x98", "a{FFFD}"},
           {"0123456789abcdef\xC3\xA4"
            "0123456789abcdef",
            "0123456789abcdef{E4}0123456789abcdef"},
           {"0123456789abcdef\xC3", "0123456789abcdef{FFFD}"}}) {
    const C c = instantiate(given.c_str());
    auto calls = seen();
    // How many replacements stand for one broken character is not the point.
    for (std::size_t at; (at = calls.find("{FFFD}{FFFD}")) < calls.size();) calls.erase(at, 6);
    EXPECT_NE(calls.find(' ' + inJava + " file:///r"), std::string::npos) << calls;
    EXPECT_EQ(FMI(fmi2Terminate)(c), fmi2Error);
    EXPECT_EQ(seen(), "Error logError " + given + ": fmi2Terminate: Illegal call sequence.");
  }
  initialized();
  play("doStepModel", "false");
  play("getLasterror",
       "Gr{F6}{DF}e {D83D}{DE00} {D83D}z{0}{DE00}{D83D}{D83D}{DE00}! "
       "{D7FF}{DC00} {D800}{DC00}{DBFF}{DFFF} {D800}{E000} {D83D}");
  EXPECT_TRUE(run("step 1 1")
                  .ends_with("m: Error: Größe \U0001F600 \uFFFDz\uFFFD\uFFFD\uFFFD\U0001F600! "
                             "\uD7FF\uFFFD \U00010000\U0010FFFF \uFFFD\uE000 "
                             "\uFFFD -> Error [Error]"));
  EXPECT_NE(instantiate("n", fmi2False, fmi2CoSimulation, nullptr), nullptr);
  EXPECT_NE(seen().find(" n  | "), std::string::npos) << "no location is an empty one";
}

// -Xcheck:jni complains of most calls that are made while an exception is pending.
TEST_F(Running, AnExceptionThatTheLoggerLeavesIsClearedBeforeJavaIsCalled) {
  const C quiet = initialized("quiet");
  const C freed = initialized("freed", 1);
  const C c = initialized("m", 1);
  const jclass error = env->FindClass("java/lang/Error");
  int depth = 0;
  bool last = false;
  const auto leaveOne = [&] {
    if (!env->ExceptionCheck()) env->ThrowNew(error, "left by the logger");
  };
  importer.onCallback = [&] {
    leaveOne();
    if (depth == 1) throw std::runtime_error("the logger itself fails");
    ++depth;
    set(quiet, 4, 1);
    leaveOne();
    get(quiet, 0);
    leaveOne();
    if (last) FMI(fmi2FreeInstance)(std::exchange(instances["freed"], nullptr));
    --depth;
  };
  for (const double value : {40, 41}) EXPECT_EQ(set(c, 4, value), fmi2OK);
  EXPECT_EQ(FMI(fmi2DoStep)(c, 1, 0.5, 0), fmi2OK);
  EXPECT_EQ(get(c, 4), 41);
  EXPECT_NE(instantiate("late"), nullptr);
  last = true;
  EXPECT_EQ(FMI(fmi2DoStep)(c, 2, 0.5, 0), fmi2Error) << "freeing one released the object of all";
  EXPECT_EQ(std::ranges::count(importer.blocks, freed, &Block::memory), 0);
  importer.onCallback = [] {};
  env->ExceptionClear();
  log();
}

// As loggers do that pass messages on to Java. A thread that comes back gets the address of its
// environment again, but nothing else of what it had.
TEST_F(Running, ALoggerMayDetachTheThreadThatACallAttached) {
  const C c = initialized("m", 1);
  const C other = initialized("other", 1);
  void* own = nullptr;
  const auto detach = [&] {
    EXPECT_EQ(vm->AttachCurrentThread(&own, nullptr), JNI_OK);
    vm->DetachCurrentThread();
  };
  const auto detachAndAttach = [&] {
    detach();
    EXPECT_EQ(vm->AttachCurrentThread(&own, nullptr), JNI_OK);
  };
  bool nested = false;
  const auto setAnother = [&] {
    if (std::exchange(nested, true)) return detach();
    EXPECT_EQ(set(other, 5, 50), fmi2OK);
    nested = false;
  };
  const auto usual = importer.onCallback;
  for (const std::function<void()>& logger :
       std::initializer_list<std::function<void()>>{detach, detachAndAttach, setAnother}) {
    importer.onCallback = logger;
    onForeignThread([&] {
      for (int i = 0; i < 30; ++i) EXPECT_EQ(set(c, 4, 40), fmi2OK);
    });
    importer.onCallback = usual;
    const auto called = calls();
    EXPECT_EQ(
        std::ranges::count_if(called, [](auto& l) { return l.starts_with("setReal#2 m 4 40.0"); }),
        30);
    log();
  }
  importer.onCallback = detach;
  onForeignThread([&] {
    EXPECT_EQ(FMI(fmi2DoStep)(c, 1, 0.5, 0), fmi2OK);
    EXPECT_EQ(set(c, 9, 1), fmi2Error);
  });
  importer.onCallback = usual;
  EXPECT_EQ(log().back(), "Error logError m: fmi2SetReal: Illegal value reference 9.");
}

std::function<void()> onEnter;

// As when the model is an importer itself. What the inner call makes on the thread ends with it.
TEST_F(Running, JavaMayCallTheLibraryInTheMiddleOfACall) {
  const C c = initialized("m", 1);
  const C other = initialized("other", 1);
  const JNINativeMethod enter = {const_cast<char*>("enter"), const_cast<char*>("()V"),
                                 reinterpret_cast<void*>(+[](JNIEnv*, jclass) { onEnter(); })};
  ASSERT_EQ(env->RegisterNatives(sim, &enter, 1), JNI_OK);
  onEnter = [&] {
    play("setReal");
    EXPECT_EQ(FMI(fmi2SetDebugLogging)(other, 1, 0, nullptr), fmi2OK);
    EXPECT_EQ(set(other, 5, 50), fmi2OK);
    EXPECT_EQ(FMI(fmi2DoStep)(other, 0, 1, 0), fmi2OK);
    EXPECT_EQ(FMI(fmi2Instantiate)("n", fmi2CoSimulation, "wrong", "", &functions, 0, 0), nullptr);
  };
  play("setReal", "enter");
  const fmi2ValueReference vr[] = {4, 5, 6};
  const double values[] = {40, 50, 60};
  EXPECT_EQ(FMI(fmi2SetReal)(c, vr, 3, values), fmi2OK);
  const std::string called = joined(calls());
  for (const char* call : {"setReal#2 m 4 40.0", "setReal#2 m 5 50.0", "setReal#2 m 6 60.0",
                           "setReal#2 other 5 50.0", "doStepModel#2 other 0.0 1.0"})
    EXPECT_NE(called.find(call), std::string::npos) << called;
  log();
}

// One importer's thread: steps an instance of its own and sees its own values, or a refusal.
struct Stepper {
  C c;
  std::string told;
  int right = 0;

  bool succeeds(fmi2Status status) {
    const auto message = std::exchange(told, "");
    if (status == fmi2OK) return true;
    EXPECT_TRUE(status == fmi2Error && message == "%s: The call overlaps another one.") << message;
    return false;
  }
};

void tellStepper(fmi2ComponentEnvironment environment, fmi2String, fmi2Status, fmi2String,
                 fmi2String format, ...) {
  static_cast<Stepper*>(environment)->told = format;
}

TEST_F(Running, TwoThreadsAtOnceGetRightResultsOrRefusals) {
  play("getData", "echo");
  std::array<Stepper, 2> steppers;
  std::array<fmi2CallbackFunctions, 2> callbacks;
  std::vector<std::thread> threads;
  for (std::size_t k : {0u, 1u}) {
    callbacks[k] = {tellStepper, allocateMemory, freeMemory, nullptr, &steppers[k]};
    C& c = steppers[k].c;
    c = FMI(fmi2Instantiate)(k == 0 ? "left" : "right", fmi2CoSimulation, guid, "", &callbacks[k],
                             0, 0);
    EXPECT_EQ(FMI(fmi2EnterInitializationMode)(c), fmi2OK);
    EXPECT_EQ(FMI(fmi2ExitInitializationMode)(c), fmi2OK);
  }
  for (auto& s : steppers)
    threads.emplace_back([&] {
      void* own = nullptr;
      vm->AttachCurrentThread(&own, nullptr);
      const fmi2ValueReference input = 4, output = 0;
      for (int i = 0; s.right < 10'000; ++i) {
        const double sent = 2 * i + static_cast<double>(&s - steppers.data());
        double got = -1;
        if (!s.succeeds(FMI(fmi2SetReal)(s.c, &input, 1, &sent)) ||
            !s.succeeds(FMI(fmi2DoStep)(s.c, i, 1, 0)) ||
            !s.succeeds(FMI(fmi2GetReal)(s.c, &output, 1, &got))) {
          std::this_thread::yield();
          continue;
        }
        EXPECT_EQ(got, sent);
        ++s.right;
      }
      vm->DetachCurrentThread();
    });
  for (auto& thread : threads) thread.join();
  play("lines");
  for (auto& s : steppers) {
    EXPECT_EQ(FMI(fmi2Terminate)(s.c), fmi2OK);
    FMI(fmi2FreeInstance)(s.c);
  }
  seen();
}

// As when the model, or the importer that listens, imports another unit.
TEST_F(Running, ACallMayInstantiateInTheMiddleOfAnother) {
  const C c = initialized("m", 1);
  bool nested = false;
  importer.onCallback = [&] {
    if (std::exchange(nested, true)) return;
    const C inner = instantiate("inner", 1);
    onForeignThread([=] { FMI(fmi2Reset)(inner); });
  };
  EXPECT_EQ(set(c, 4, 40), fmi2OK);
  const Lines called = calls();
  EXPECT_EQ(std::ranges::count(called, "setReal#2 m 4 40.0"), 1);
  importer.onCallback = [] {};
  log();
}

}  // namespace
