// Which call is allowed when, what each check answers, and every function that answers without
// Java.
#include "importer.h"

namespace {

using enum InstanceState;

const fmi2ValueReference vr[] = {6};  // an input: no fetch of outputs changes it
constexpr double third = 1. / 3;      // shows how many digits a message has
double real[1];
int integer[1];
const char* string[1];
fmi2FMUstate saved;
std::size_t size;
fmi2EventInfo info;
fmi2Status status;

struct Function {
  const char* allowed;  // by state; J: may reach Java
  const char* name;
  fmi2Status (*call)(C);
  fmi2Status result;       // where it is allowed
  const char* trace = "";  // follows the name, as the error does; "-": there is none
  const char* error = "-";
  InstanceState next = {};  // after success, if another
};

// clang-format off
#define F(function, ...) #function, [](C c) { return FMI(function)(c __VA_OPT__(,) __VA_ARGS__); }
#define PENDING(kind) ": fmi2StatusKind = " kind, ": Can be called with " kind " when fmi2DoStep returned fmi2Pending. This is not the case."
constexpr const char* missing = ": Function not implemented.";

const Function everyFunction[] = {
  // Instantiated
  // |InitializationMode
  // ||EventMode
  // |||ContinuousTimeMode
  // ||||StepComplete
  // |||||StepInProgress
  // ||||||StepFailed
  // |||||||StepCanceled
  // ||||||||Terminated
  // |||||||||Error
  // ||||||||||may reach Java
  {"xxxxxxxxxx.", F(fmi2SetDebugLogging, 1, 0, nullptr), fmi2OK},
  {"xxxxx.xxxxJ", "fmi2FreeInstance", [](C c) { FMI(fmi2FreeInstance)(c); return importer.blocks.empty() ? fmi2OK : fmi2Error; }, fmi2OK},
  {"xxxxx.xxxx.", F(fmi2Reset), fmi2OK, "", "-", Instantiated},
  {"x.........J", F(fmi2SetupExperiment, 1, third, 0, 0, 0), fmi2OK, ": toleranceDefined=1 tolerance=0.333333"},
  {"x..........", F(fmi2EnterInitializationMode), fmi2OK, "", "-", InitializationMode},
  {".x........J", F(fmi2ExitInitializationMode), fmi2OK, "", "-", StepComplete},
  {"..xxx.x...J", F(fmi2Terminate), fmi2OK, "", "-", Terminated},
  {".xxxx.xxxxJ", F(fmi2GetReal, vr, 1, real), fmi2OK, ": #r6# = 0"},
  {".xxxx.xxxxJ", F(fmi2GetInteger, vr, 0, integer), fmi2OK, "-"},
  {".xxxx.xxxxJ", F(fmi2GetBoolean, vr, 0, integer), fmi2OK, "-"},
  {".xxxx.xxxxJ", F(fmi2GetString, vr, 0, string), fmi2OK, "-"},
  {"xxxxx.....J", F(fmi2SetReal, vr, 0, real), fmi2OK, ": nvr = 0"},
  {"xxx.x......", F(fmi2SetInteger, vr, 0, integer), fmi2OK, ": nvr = 0"},
  {"xxx.x......", F(fmi2SetBoolean, vr, 0, integer), fmi2OK, ": nvr = 0"},
  {"xxx.x......", F(fmi2SetString, vr, 0, string), fmi2OK, ": nvr = 0"},
  {"xxxxx.xxxx.", F(fmi2GetFMUstate, &saved), fmi2Error, "", missing},
  {"xxxxx.xxxx.", F(fmi2SetFMUstate, saved), fmi2Error, "", missing},
  {"xxxxx.xxxx.", F(fmi2FreeFMUstate, &saved), fmi2Error, "", missing},
  {"xxxxx.xxxx.", F(fmi2SerializedFMUstateSize, saved, &size), fmi2Error, "", missing},
  {"xxxxx.xxxx.", F(fmi2SerializeFMUstate, saved, nullptr, 0), fmi2Error, "", missing},
  {"xxxxx.xxxx.", F(fmi2DeSerializeFMUstate, nullptr, 0, &saved), fmi2Error, "", missing},
  {".xxxx.xxxx.", F(fmi2GetDirectionalDerivative, vr, 1, vr, 1, real, real), fmi2Error, "", missing},
  {"xx..x......", F(fmi2SetRealInputDerivatives, nullptr, 2, nullptr, nullptr), fmi2Error, ": nvr= 2",
    ": ignoring function call. This model cannot interpolate inputs: canInterpolateInputs=\"fmi2False\""},
  {"....x.xxxx.", F(fmi2GetRealOutputDerivatives, nullptr, 0, nullptr, nullptr), fmi2Error, ": nvr= 0",
    ": ignoring function call. This model cannot compute derivatives of outputs: MaxOutputDerivativeOrder=\"0\""},
  {"....x.....J", F(fmi2DoStep, third, 2 * third, 1), fmi2OK, ": currentCommunicationPoint = 0.333333, communicationStepSize = 0.666667, noSetFMUStatePriorToCurrentPoint = fmi2True"},
  {".....x.....", F(fmi2CancelStep), fmi2Error, "", ": Can be called when fmi2DoStep returned fmi2Pending. This is not the case."},
  {"....xxx.x..", F(fmi2GetStatus, fmi2PendingStatus, &status), fmi2Discard, PENDING("fmi2PendingStatus")},
  {"....xxx.x..", F(fmi2GetRealStatus, fmi2LastSuccessfulTime, real), fmi2OK, "-"},
  {"....xxx.x..", F(fmi2GetIntegerStatus, fmi2DoStepStatus, integer), fmi2Discard, PENDING("fmi2DoStepStatus")},
  {"....xxx.x..", F(fmi2GetBooleanStatus, fmi2Terminated, integer), fmi2OK, "-"},
  {"....xxx.x..", F(fmi2GetStringStatus, fmi2PendingStatus, string), fmi2Discard, PENDING("fmi2PendingStatus")},
  {"..xx.......", F(fmi2EnterEventMode), fmi2OK, "", "-", EventMode},
  {"..x........", F(fmi2NewDiscreteStates, &info), fmi2OK},
  {"..x........", F(fmi2EnterContinuousTimeMode), fmi2OK, "", "-", ContinuousTimeMode},
  {"...x.......", F(fmi2CompletedIntegratorStep, 1, integer, integer), fmi2OK},
  {"..xx.......", F(fmi2SetTime, third), fmi2OK, ": time=0.3333333333333333"},
  {"...x.......", F(fmi2SetContinuousStates, real, 0), fmi2OK, "-"},
  {".xxx....xx.", F(fmi2GetEventIndicators, real, 1), fmi2OK, ": z0 = 0"},
  {".xxx....xx.", F(fmi2GetContinuousStates, real, 0), fmi2OK, "-"},
  {"..xx....xx.", F(fmi2GetDerivatives, real, 0), fmi2OK, "-"},
  {"x.xx....xx.", F(fmi2GetNominalsOfContinuousStates, real, 0), fmi2OK, "fmi2GetNominalContinuousStates: x_nominal[0..-1] = 1.0"},
};

struct BadArgument {
  const char* name;
  fmi2Status (*call)(C);
  InstanceState state;
  const char* argument;
};

#define VARIABLES(function) {F(function, nullptr, 1, nullptr), StepComplete, "vr[] = NULL."}, {F(function, vr, 1, nullptr), StepComplete, "value[] = NULL."}

const BadArgument badArguments[] = {
  VARIABLES(fmi2GetReal), VARIABLES(fmi2GetInteger), VARIABLES(fmi2GetBoolean), VARIABLES(fmi2GetString),
  VARIABLES(fmi2SetReal), VARIABLES(fmi2SetInteger), VARIABLES(fmi2SetBoolean), VARIABLES(fmi2SetString),
  {F(fmi2CompletedIntegratorStep, 0, nullptr, nullptr), ContinuousTimeMode, "enterEventMode = NULL."},
  {F(fmi2CompletedIntegratorStep, 0, integer, nullptr), ContinuousTimeMode, "terminateSimulation = NULL."},
  {F(fmi2SetContinuousStates, nullptr, 1), ContinuousTimeMode, "nx = 1. Expected 0."},
  {F(fmi2SetContinuousStates, nullptr, 0), ContinuousTimeMode, "x[] = NULL."},
  {F(fmi2GetDerivatives, real, 3), EventMode, "nx = 3. Expected 0."},
  {F(fmi2GetDerivatives, nullptr, 0), EventMode, "derivatives[] = NULL."},
  {F(fmi2GetContinuousStates, real, 1ull << 32), EventMode, "nx = 0. Expected 0."},  // as %d shows it
  {F(fmi2GetContinuousStates, nullptr, 0), EventMode, "states[] = NULL."},
  {F(fmi2GetNominalsOfContinuousStates, real, 2), EventMode, "nx = 2. Expected 0."},
  {F(fmi2GetNominalsOfContinuousStates, nullptr, 0), EventMode, "x_nominal[] = NULL."},
  {F(fmi2GetEventIndicators, nullptr, 0), EventMode, "ni = 0. Expected 1."},
  {F(fmi2GetEventIndicators, nullptr, 1), EventMode, "eventIndicators[] = NULL."},
  {F(fmi2NewDiscreteStates, nullptr), EventMode, "eventInfo = NULL."},
  {F(fmi2GetRealOutputDerivatives, vr, 1, integer, nullptr), StepComplete, "value[] = NULL."},
  {F(fmi2GetRealStatus, fmi2LastSuccessfulTime, nullptr), StepComplete, "value = NULL."},
  {F(fmi2GetBooleanStatus, fmi2Terminated, nullptr), StepComplete, "value = NULL."},
  {F(fmi2SetDebugLogging, 1, 1, nullptr), StepComplete, "categories = NULL."},
};
// clang-format on

// All that an instance holds, but its state.
std::string contents(C c) {
  FmuInstance record = *static_cast<FmuInstance*>(c);
  record.state = {};
  return std::string(reinterpret_cast<const char*>(&record), sizeof record) +
         std::string(reinterpret_cast<const char*>(record.reals), sizeof(double) * 7);
}

TEST_F(Running, EveryFunctionIsAllowedInItsStatesAndRefusedInAllOthers) {
  for (const auto& f : everyFunction) {
    for (std::size_t column = 0; column < states.size(); ++column) {
      const std::string name = f.name;
      const bool allowed = f.allowed[column] == 'x';
      const auto state = states[column];
      SCOPED_TRACE(name + " in " + nameOf(state));
      const C c = instantiate("m", fmi2True);
      seen();
      EXPECT_EQ(f.call(nullptr), fmi2Error);
      record(c).state = state;
      const std::string before = contents(c);
      EXPECT_EQ(f.call(c), allowed ? f.result : fmi2Error);
      Lines expected;
      if (!allowed)
        expected = {"Error logError m: " + name + ": Illegal call sequence."};
      else if (*f.trace != '-')
        expected = {"OK logFmiCall m: " + (*f.trace != 'f' ? name : "") + f.trace};
      if (allowed && *f.error != '-') expected.push_back("Error logError m: " + name + f.error);
      EXPECT_EQ(log(), expected);
      EXPECT_TRUE(allowed || (calls().empty() && before == contents(c)));
      calls();
      if (importer.blocks.empty()) continue;  // freed
      const auto next = !allowed ? Error : f.next != InstanceState{} ? f.next : state;
      EXPECT_EQ(nameOf(record(c).state), nameOf(next));
      record(c).state = Instantiated;
      FMI(fmi2FreeInstance)(c);
      seen();
    }
  }
}

// What a thread does while another one is in a callback of fmi2SetReal.
TEST_F(Running, ACallThatMayReachJavaIsRefusedWhileAnotherThreadIsInOne) {
  const C outer = initialized("outer", fmi2True);
  const auto usual = importer.onCallback;
  const auto overlapped = [&](const std::function<void()>& work) {
    bool begun = false;
    importer.onCallback = [&] {
      if (!std::exchange(begun, true)) onForeignThread(work);
    };
    EXPECT_EQ(FMI(fmi2SetReal)(outer, nullptr, 0, nullptr), fmi2OK);
    importer.onCallback = usual;
    EXPECT_EQ(calls(), Lines{"getProp#2 outer number_of_reals"});
    auto told = log();
    EXPECT_EQ(told.back(), "OK logFmiCall outer: fmi2SetReal: nvr = 0");
    told.pop_back();
    return told;
  };
  const auto refusal = [](const std::string& name, const std::string& function) {
    return Lines{"Error logError " + name + ": " + function + ": The call overlaps another one."};
  };
  const C c = instantiate("m");
  seen();
  for (const auto& f : everyFunction) {
    const std::string name = f.name;
    record(c).state = states[std::string(f.allowed).find('x')];
    const auto before = std::pair(contents(c), record(c).state);
    auto result = fmi2Fatal;
    const Lines told = overlapped([&] {
      EXPECT_EQ(f.call(nullptr), fmi2Error);
      result = f.call(c);
    });
    if (f.allowed[states.size()] == 'J') {
      EXPECT_EQ(std::pair(result, told), std::pair(fmi2Error, refusal("m", name)));
      EXPECT_TRUE(before == std::pair(contents(c), record(c).state)) << name;
    } else {
      EXPECT_EQ(result, f.result) << name;
    }
  }
  EXPECT_EQ(overlapped([&] { EXPECT_EQ(instantiate("n"), nullptr); }),
            refusal("n", "fmi2Instantiate"));
  onForeignThread([&] { EXPECT_EQ(set(outer, 4, 40), fmi2OK) << "no call is under way any more"; });
  seen();
}

TEST_F(Running, BadArgumentsAreRefusedByNameBeforeAnythingHappens) {
  const C c = instantiate();
  seen();
  integer[0] = 7;
  for (const auto& bad : badArguments) {
    record(c).state = bad.state;
    const std::string before = contents(c);
    EXPECT_EQ(bad.call(c), fmi2Error);
    EXPECT_TRUE(before == contents(c)) << bad.name;
    EXPECT_EQ(record(c).state, Error);
    std::string name = bad.name;
    if (const auto at = name.find("NominalsOf"); at < name.size()) name.replace(at, 10, "Nominal");
    EXPECT_EQ(seen(), "Error logError m: " + name + ": Invalid argument " + bad.argument);
  }
  EXPECT_EQ(integer[0], 7) << "nothing is written";
}

TEST_F(Running, StatusQueriesDiscardTheKindsThatTheyDoNotAnswer) {
  const C c = initialized("m", fmi2True);
  record(c).time = 2.5;
  const Lines kinds = {"DoStepStatus", "PendingStatus", "LastSuccessfulTime", "Terminated"};
  for (const std::string name : {"fmi2GetStatus", "fmi2GetRealStatus", "fmi2GetIntegerStatus",
                                 "fmi2GetBooleanStatus", "fmi2GetStringStatus"}) {
    // By number: a kind that is none of the enumerators could not be passed otherwise.
    const auto query = reinterpret_cast<fmi2Status (*)(C, int, void*)>(symbol(name.c_str()));
    for (const int kind : {0, 1, 2, 3, 7, -1}) {
      double value = 7;
      const auto result = query(c, kind, &value);
      if (name == "fmi2GetRealStatus" && kind == 2) {
        EXPECT_EQ(std::tuple(result, value, seen()), std::tuple(fmi2OK, 2.5, ""));
        continue;
      }
      if (name == "fmi2GetBooleanStatus" && kind == 3) {
        record(c).eventInfo.terminateSimulation = 5;
        int flag = 7;
        EXPECT_EQ(query(c, kind, &flag), fmi2OK);
        EXPECT_EQ(std::tuple(flag, seen()), std::tuple(5, ""));
        continue;
      }
      const bool known = kind >= 0 && kind <= 3;
      const auto text = known ? "fmi2" + kinds[static_cast<unsigned>(kind)] : "unknown";
      EXPECT_EQ(seen(),
                "OK logFmiCall m: " + name + ": fmi2StatusKind = " + text +
                    (known ? " | Error logError m: " + name + ": Can be called with " + text +
                                 " when fmi2DoStep returned fmi2" +
                                 (kind < 2 ? "Pending" : "Discard") + ". This is not the case."
                           : ""));
      EXPECT_EQ(std::tuple(result, value, record(c).state),
                std::tuple(fmi2Discard, 7, StepComplete));
    }
  }
}

TEST_F(Running, AModelExchangeLifeHasNoStatesAndOneSilentIndicator) {
  const C c = initialized("m", fmi2False, fmi2ModelExchange);
  EXPECT_EQ(std::pair(record(c).state, record(c).newEventIteration), std::pair(EventMode, 1));
  fmi2EventInfo event{7, 7, 7, 7, 7, 7.0};
  record(c).eventInfo = {5, 5, 5, 5, 5, 2.5};
  EXPECT_EQ(FMI(fmi2NewDiscreteStates)(c, &event), fmi2OK);
  for (const auto& e : {event, record(c).eventInfo}) {
    EXPECT_EQ(list(&e.newDiscreteStatesNeeded, 5), "0 0 0 0 0");
    EXPECT_EQ(e.nextEventTime, 2.5);
  }
  EXPECT_EQ(record(c).newEventIteration, 0);
  EXPECT_EQ(FMI(fmi2EnterContinuousTimeMode)(c), fmi2OK);
  int flags[] = {7, 7};
  EXPECT_EQ(FMI(fmi2CompletedIntegratorStep)(c, fmi2True, flags, flags + 1), fmi2OK);
  EXPECT_EQ(list(flags, 2), "0 0");
  double values[] = {7, 7, 7, 7};
  EXPECT_EQ(FMI(fmi2GetEventIndicators)(c, values, 1), fmi2OK);
  EXPECT_EQ(list(values, 2), "0 7");
  EXPECT_EQ(FMI(fmi2SetTime)(c, 2.5), fmi2OK);
  EXPECT_EQ(FMI(fmi2EnterEventMode)(c), fmi2OK);
  EXPECT_EQ(record(c).newEventIteration, 1);
  EXPECT_EQ(run("terminate"), "doTerminate m [Terminated]");
  EXPECT_EQ(FMI(fmi2GetRealStatus)(c, fmi2LastSuccessfulTime, values), fmi2OK);
  EXPECT_EQ(FMI(fmi2GetBooleanStatus)(c, fmi2Terminated, flags), fmi2OK);
  EXPECT_EQ(std::pair(values[0], flags[0]), std::pair(2.5, fmi2False));
  EXPECT_EQ(FMI(fmi2Reset)(c), fmi2OK);
  // Any other type, also one that does not exist, is co-simulation.
  FMI(fmi2FreeInstance)(c);
  const auto instantiateAs =
      reinterpret_cast<C (*)(const char*, int, const char*, const char*, fmi2CallbackFunctions*,
                             int, int)>(symbol("fmi2Instantiate"));
  const C other = instances["m"] = instantiateAs("m", 7, guid, "", &functions, 0, 0);
  EXPECT_EQ(record(other).type, 7);
  for (const char* command : {"enter", "exit"}) run(command);
  EXPECT_EQ(record(other).state, StepComplete);
  EXPECT_EQ(FMI(fmi2GetRealOutputDerivatives)(other, vr, 3, integer, values), fmi2Error);
  EXPECT_EQ(list(values, 4), "0 0 0 7");
  seen();
}

TEST_F(Host, PlatformVersionAndGetverNeedNoInstance) {
  EXPECT_STREQ(FMI(fmi2GetTypesPlatform)(), "default");
  EXPECT_STREQ(FMI(fmi2GetVersion)(), "2.0");
  const auto getver = reinterpret_cast<const std::int32_t* (*)()>(symbol("getver"));
  EXPECT_EQ(list(getver(), 4), "6 1 0 96");
  EXPECT_EQ(getver(), getver());
}

}  // namespace
