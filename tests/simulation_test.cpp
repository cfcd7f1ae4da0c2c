// Lives of instances, their messages, and the way of the values: importer, array, step, Java,
// array.
#include "importer.h"

namespace {

TEST_F(Running, AWholeCoSimulationReachesJavaInOrder) {
  scenario(R"(
    new            = create | doInitConnection | doInstantiate m file:///r | getProp m number_of_reals
    show           = time 0, dirty 1, reals 0 0 0 0 0 0 0
    setup .5 5 9.5 = doSetupExperiment m 0.5 true 9.5
    set 4 40       = getProp m number_of_reals | setReal m 4 40.0
    enter          = [InitializationMode]
    exit           = doInitializeModel m | getData m | getProp m number_of_outputs [StepComplete]
    show           = time 0.5, dirty 0, reals 1.5 -2.5 1.5 -2.5 40 0 0
    java getData 3.5 4.5
    step 1 .5      = getProp m number_of_inputs | getProp m number_of_outputs
                   = doStepModel m 1.0 0.5 [40.0, 0.0, 0.0] | getData m
    show           = time 1, dirty 1, reals 3.5 4.5 1.5 -2.5 40 0 0
    get 3          = getProp m number_of_outputs | getProp m number_of_reals | 4.5
    get 0          = getProp m number_of_reals | 3.5
    set 0 7        = getProp m number_of_reals | setReal m 0 7.0
    get 2          = getProp m number_of_outputs | getProp m number_of_reals | 7
    terminate      = doTerminate m [Terminated]
    get 4          = getProp m number_of_reals | 40
    reset          = [Instantiated]
    show           = time 1, dirty 1, reals 7 4.5 7 4.5 40 0 0
    get 0          = Error logError m: fmi2GetReal: Illegal call sequence. | nan [Error]
    free           = doFreeInstance m)");
  EXPECT_EQ(play("objects"), "0") << "the library still holds the simulation object";
}

TEST_F(Running, SetupAndInitializationMayBeTriedAgainWhenJavaRefuses) {
  instantiate();
  seen();
  scenario(R"(
    java getLasterror 50% of %s
    java doSetupExperiment false
    setup 1.5 0 9.5 = doSetupExperiment m 1.5 false 9.5 | getLasterror
                    = Error logFmiCall m: 50% of %s -> Error
    show            = time 1.5, dirty 1, reals 0 0 0 0 0 0 0
    java doSetupExperiment true
    setup 2.5       = doSetupExperiment m 2.5 false 0.0
    setup 3.5       = doSetupExperiment m 3.5 false 0.0
    java doInitializeModel false
    enter           = [InitializationMode]
    exit            = doInitializeModel m | getLasterror | Error logFmiCall m: 50% of %s -> Error
    java getLasterror null
    exit            = doInitializeModel m | getLasterror | Error logFmiCall m:  -> Error
    get 0           = getData m | getProp m number_of_outputs | getProp m number_of_reals | 1.5
    java doInitializeModel true
    exit            = doInitializeModel m [StepComplete]
    state ContinuousTimeMode = [ContinuousTimeMode]
    set 0 5         = getProp m number_of_reals | setReal m 0 5.0
    get 2           = getProp m number_of_outputs | getProp m number_of_reals | 5)");
}

TEST_F(Running, AStepThatCannotBeMadeEndsInErrorWithTheReason) {
  initialized();
  scenario(R"(
    step 1 0   = Error logError m: fmi2DoStep: communication step size must be > 0. Fount 0. -> Error [Error]
    show       = time 0, dirty 0, reals 1.5 -2.5 1.5 -2.5 0 0 0
    state StepComplete = [StepComplete]
    step 1 -.123456789 = Error logError m: fmi2DoStep: communication step size must be > 0. Fount -0.123457. -> Error [Error]
    java doStepModel false
    java getLasterror 50% of %s
    state StepComplete = [StepComplete]
    step 1 nan = getProp m number_of_inputs | getProp m number_of_outputs
               = doStepModel m 1.0 NaN [0.0, 0.0, 0.0] | getLasterror
               = Error logError m: Error: 50% of %s -> Error [Error]
    step 2 1   = Error logError m: fmi2DoStep: Illegal call sequence. -> Error
    show       = time 1, dirty 0, reals 1.5 -2.5 1.5 -2.5 0 0 0)");
}

TEST_F(Running, ARefusedElementEndsTheCallAndLeavesTheEarlierOnesDone) {
  const C c = initialized("m", fmi2True);
  const fmi2ValueReference vr[] = {4, 7, 5};
  double values[] = {1. / 3, 70, 50};
  EXPECT_EQ(FMI(fmi2SetReal)(c, vr, 3, values), fmi2Error);
  EXPECT_EQ(seen(),
            "OK logFmiCall m: fmi2SetReal: nvr = 3 | getProp m number_of_reals | "
            "OK logFmiCall m: fmi2SetReal: #r4# = 0.3333333333333333 | "
            "setReal m 4 0.3333333333333333 | "
            "Error logError m: fmi2SetReal: Illegal value reference 7.");
  EXPECT_EQ(run("show"), "time 0, dirty 0, reals 1.5 -2.5 1.5 -2.5 0.333333 0 0");
  values[0] = 0;
  EXPECT_EQ(FMI(fmi2GetReal)(c, vr, 3, values), fmi2Error);
  EXPECT_EQ(list(values, 3), "0.333333 70 50");
  EXPECT_EQ(seen(),
            "getProp m number_of_reals | "
            "OK logFmiCall m: fmi2GetReal: #r4# = 0.3333333333333333 | "
            "Error logError m: fmi2GetReal: Illegal value reference 7.");
}

TEST_F(Running, ThereAreNoVariablesOfOtherTypes) {
  const C c = initialized("m", fmi2True);
  const fmi2ValueReference vr[] = {0, 4294967295u};
  for (const std::string name :
       {"fmi2GetReal", "fmi2SetReal", "fmi2GetInteger", "fmi2SetInteger", "fmi2GetBoolean",
        "fmi2SetBoolean", "fmi2GetString", "fmi2SetString"}) {
    const auto access =
        reinterpret_cast<fmi2Status (*)(C, const fmi2ValueReference*, std::size_t, void*)>(
            symbol(name.c_str()));
    const bool set = name[4] == 'S', real = name.ends_with("Real");
    void* values[] = {c, c};
    record(c).valuesDirty = 0;
    EXPECT_EQ(access(c, nullptr, 0, nullptr), fmi2OK);
    EXPECT_EQ(record(c).valuesDirty, 0) << name;
    seen();
    record(c).valuesDirty = 1;
    EXPECT_EQ(access(c, nullptr, 0, nullptr), fmi2OK);
    EXPECT_EQ(log(), set ? Lines{"OK logFmiCall m: " + name + ": nvr = 0"} : Lines{});
    EXPECT_EQ(calls(), real ? Lines{"getProp m number_of_reals"} : Lines{});
    EXPECT_EQ(run("show").substr(0, 15), "time 0, dirty 1");
    if (real) continue;
    EXPECT_EQ(access(c, vr, 2, values), fmi2Error);
    EXPECT_EQ(seen(),
              (set ? "OK logFmiCall m: " + name + ": nvr = 2" : "getProp m number_of_outputs") +
                  " | Error logError m: " + name + ": Illegal value reference 0.");
    EXPECT_EQ(std::pair(record(c).valuesDirty, values[0]), std::pair(set ? 1 : 0, c));
    EXPECT_EQ(run("state StepComplete"), "[StepComplete]") << "it was Error";
  }
}

TEST_F(Running, AnyCountsAndAnyLengthOfAnswerStayInsideTheArray) {
  const C c = initialized();
  const std::string all = "[10.0, 11.0, 12.0, 13.0, 14.0, 15.0, 16.0]",
                    three = "[14.0, 15.0, 16.0]";
  // Inputs, outputs, data; doStepModel's array, none if it is not called; the values, 10 to 16
  // before.
  for (const auto& [inputs, outputs, data, sent, reals] :
       std::initializer_list<std::array<std::string, 5>>{
           {"3", "2", "1 2", three, "1 2 1 2 14 15 16"},
           {"3", "2", "1", three, "1 11 1 11 14 15 16"},
           {"3", "2", "1 2 3 4 5 6", three, "1 2 1 2 5 6 16"},
           {"3", "2", "1 2 3 4 5 6 7 8 9", three, "1 2 1 2 5 6 7"},
           {"3", "2", "null", three, "10 11 10 11 14 15 16"},
           {"3", "2", "throw", three, "10 11 10 11 14 15 16"},
           {"+2", " 2abc", "1 2", "[14.0, 15.0]", "1 2 1 2 14 15 16"},
           {"2.9", "4294967298", "1 2", "[14.0, 15.0]", "1 2 1 2 14 15 16"},
           {"-3", "2", "1 2", "[]", "1 2 1 2 14 15 16"},
           {"null", "2", "1 2", "[]", "1 2 1 2 14 15 16"},
           {"throw", "2", "1 2", "[]", "1 2 1 2 14 15 16"},
           {"7", "0", "", all, "10 11 12 13 14 15 16"},
           {"7", "0x10", "1 2", all, "1 2 12 13 14 15 16"},
           {"7", "", "1 2", all, "1 2 12 13 14 15 16"},
           {"0", "4", "1 2 3 4", "[]", "1 2 3 4 1 2 3"},
           {"0", "7", "1", "[]", "1 11 12 13 14 15 16"},
           {"0", "-3", "1", "[]", "1 11 12 13 14 15 16"},
           {"0", "2147483647", "1", "[]", "1 11 12 13 14 15 16"},
           {"4", "2", "1 2", "", "10 11 10 11 14 15 16"},
           {"1", "-1", "1 2", "", "10 11 12 13 14 15 16"},
           {"1", "99999999999999999999", "1 2", "", "10 11 12 13 14 15 16"},
           {"2147483647", "2147483647", "1 2", "", "10 11 12 13 14 15 16"},
           {"1", "-2147483648", "1 2", "", "10 11 12 13 14 15 16"}}) {
    SCOPED_TRACE(inputs + " inputs, " + outputs + " outputs, data " + data);
    for (int i = 0; i < 7; ++i) record(c).reals[i] = 10 + i;
    record(c).valuesDirty = 1;
    record(c).state = InstanceState::StepComplete;
    play("number_of_inputs", inputs);
    play("number_of_outputs", outputs);
    play("getData", data);
    auto step = run("step 1 0.5");
    if (const auto at = step.find(" | printed"); at < step.size()) step.erase(at, 10);
    EXPECT_EQ(step,
              "getProp m number_of_inputs | getProp m number_of_outputs | " +
                  (sent.empty() ? "getLasterror | Error logError m: Error: because -> Error [Error]"
                                : "doStepModel m 1.0 0.5 " + sent + " | getData m"));
    get(c, 6);  // mirrors
    EXPECT_EQ(list(record(c).reals, 7), reals);
    calls();
  }
}

TEST_F(Running, AReferenceMustBeBelowTheCountOfTheMomentAndInsideTheArray) {
  const C c = initialized();
  for (const auto& [count, vr, kind] :
       std::initializer_list<std::array<std::string, 3>>{{"7", "6", "valid"},
                                                         {"7", "7", "illegal"},
                                                         {"7", "4294967295", "illegal"},
                                                         {"9", "6", "valid"},
                                                         {"9", "7", "illegal"},
                                                         {"5", "4", "valid"},
                                                         {"5", "5", "illegal"},
                                                         {"0", "0", "nothing to read"},
                                                         {"-2", "0", "nothing to read"}}) {
    play("number_of_reals", count);
    const std::string asked = "getProp m number_of_reals | ";
    const auto refused = ": Illegal value reference " + vr + ".";
    record(c).state = InstanceState::StepComplete;
    EXPECT_EQ(run("set " + vr + " 60"),
              asked + (kind == "valid"
                           ? "setReal m " + vr + " 60.0"
                           : "Error logError m: fmi2SetReal" + refused + " -> Error [Error]"));
    record(c).state = InstanceState::StepComplete;
    record(c).valuesDirty = 0;
    EXPECT_EQ(run("get " + vr), asked + (kind == "valid"     ? "60"
                                         : kind == "illegal" ? "Error logError m: fmi2GetReal" +
                                                                   refused + " | nan [Error]"
                                                             : "nan"));
  }
}

TEST_F(Running, AFreedInstanceLeavesTheOthersFailingPolitelyUntilTheNextConnection) {
  for (const char* name : {"a", "b", "c"}) initialized(name);
  EXPECT_EQ(play("objects"), "1") << "a connection replaces the object of the one before";
  seen();
  scenario(R"(
    a.step 1 1  = getProp#3 a number_of_inputs | getProp#3 a number_of_outputs
                = doStepModel#3 a 1.0 1.0 [0.0, 0.0, 0.0] | getData#3 a
    a.free      = doFreeInstance#3 a
    b.get 0     = nan
    b.step 1 1  = Error logError b: Error:  -> Error [Error]
    c.set 4 40  = Error logError c: fmi2SetReal: Illegal value reference 4. -> Error [Error]
    c.reset     = [Instantiated]
    c.setup     = Error logFmiCall c: Fatal error setting up experiment -> Error
    c.enter     = [InitializationMode]
    c.exit      = Error logFmiCall c: Fatal error initializing model -> Error
    c.free
    d.new       = create | doInitConnection#4 | doInstantiate#4 d file:///r
                = getProp#4 d number_of_reals
    b.reset     = [Instantiated]
    b.setup     = doSetupExperiment#4 b 0.0 false 0.0
    java create null
    e.new       = create | doInitConnection#4 | doInstantiate#4 e file:///r
                = getProp#4 e number_of_reals
    b.terminate = Error logError b: fmi2Terminate: Illegal call sequence. -> Error [Error])");
}

TEST_F(Running, ARefusedConnectionIsAProcessErrorWithItsReason) {
  scenario(R"(
    java getLasterror 50% of %s
    java create null
    new = create | Error error m: fmi2Instantiate: Process error
        = Error error m: Cannot find Java classes -> Error
    java create usual
    java doInitConnection false
    new = create | doInitConnection | Error error m: fmi2Instantiate: Process error
        = Error error m: Not connected -> Error
    java doInitConnection true
    java doInstantiate false
    new = create | doInitConnection#2 | doInstantiate#2 m file:///r | getLasterror#2
        = Error error m: fmi2Instantiate: Process error | Error error m: 50% of %s -> Error)");
  EXPECT_EQ(importer.requests, Lines{});
}

TEST_F(Running, InstantiateRefusesBadArgumentsInOrderWithoutAskingAnybody) {
  const std::string lower = "{6f1c2d3a-8b4e-4f70-9a1d-2e5b7c9d0f13}";
  auto noLogger = functions, noAllocate = functions, noFree = functions;
  noLogger.logger = nullptr;
  noAllocate.allocateMemory = nullptr;
  noFree.freeMemory = nullptr;
  struct Case {
    const fmi2CallbackFunctions* functions;
    const char *name, *guid;
    std::string message;
  };
  for (const auto& [with, name, identity, message] : std::initializer_list<Case>{
           {nullptr, "m", guid, ""},
           {&noLogger, nullptr, nullptr, ""},
           {&noAllocate, nullptr, "", "NULL: fmi2Instantiate: Missing callback function."},
           {&noFree, "m", guid, "m: fmi2Instantiate: Missing callback function."},
           {&functions, nullptr, "", "?: fmi2Instantiate: Missing instance name."},
           {&functions, "", guid, "?: fmi2Instantiate: Missing instance name."},
           {&functions, "m", nullptr, "m: fmi2Instantiate: Missing GUID."},
           {&functions, "m", "", "m: fmi2Instantiate: Missing GUID."},
           {&functions, "m", lower.c_str(),
            "m: fmi2Instantiate: Wrong GUID " + lower + ". Expected " + guid + "."}}) {
    EXPECT_EQ(FMI(fmi2Instantiate)(name, fmi2CoSimulation, identity, "", with, 0, 1), nullptr);
    EXPECT_EQ(seen(), (message.empty() ? "" : "Error error ") + message);
  }
  EXPECT_EQ(importer.requests, Lines{});
}

TEST_F(Running, AFailedAllocationGivesEverythingBack) {
  const std::string rest = " | 7 x 8 | 0 x 4 | 0 x 4 | 0 x 8 | 1 x 4 | 2 x 1 | 39 x 1";
  for (importer.refused = 1; importer.refused <= 8; ++importer.refused) {
    EXPECT_TRUE(run("new").ends_with("Error error m: fmi2Instantiate: Out of memory. -> Error"));
    EXPECT_EQ(importer.blocks.size(), 0u) << "refused: " << importer.refused;
    const auto requests = std::exchange(importer.requests, {});
    EXPECT_EQ(requests[0], "1 x " + std::to_string(sizeof(FmuInstance)));
    EXPECT_EQ(joined(requests).substr(requests[0].size()), importer.refused > 1 ? rest : "");
  }
  play("number_of_reals", "-3");
  EXPECT_EQ(record(instantiate()).realsLength, 0);
  EXPECT_EQ(importer.requests[1], "18446744073709551613 x 8");
}

TEST_F(Running, FreeTellsJavaBeforeMemoryGoesBackAndTheRecordGoesLast) {
  const C c = instantiate("m", fmi2True);
  const auto& r = record(c);
  const std::vector<void*> order = {
      r.reals, r.integers, r.booleans, r.strings, r.eventIndicatorFlags, r.instanceName, r.guid, c};
  EXPECT_STREQ(r.guid, guid);
  EXPECT_EQ(log(), Lines{"OK logFmiCall m: fmi2Instantiate: GUID=" + std::string(guid)});
  calls();
  std::string first;
  importer.onCallback = [&] {
    noteJavaCalls();
    first += importer.freed.size() == 1 ? seen() : "";
  };
  FMI(fmi2FreeInstance)(c);
  EXPECT_EQ(first, "OK logFmiCall m: fmi2FreeInstance | doFreeInstance m");
  EXPECT_EQ(importer.freed, order);
}

TEST_F(Running, CategoriesDecideWhichMessagesAreSent) {
  struct Case {
    int on;
    std::vector<const char*> names;
    std::string switches, log;
  };
  const std::string trace = "OK logFmiCall m: fmi2SetDebugLogging";
  const auto unknown = [](const std::string& name) {
    return "Warning logError m: logging category '" + name + "' is not supported by model";
  };
  const C c = instantiate();
  calls();
  // Each call is traced by the switches that the one before it left.
  for (const auto& [on, names, switches, log] : std::initializer_list<Case>{
           {1, {"logFmiCall"}, "0 0 1 0", ""},
           {1, {"logError", "logEvent"}, "0 1 0 1", trace},
           {1, {"logAll"}, "1 0 0 0", ""},
           {0, {"LogFmiCall", "logAll"}, "0 0 0 0", trace + " | " + unknown("LogFmiCall")},
           {5, {}, "5 5 5 5", ""},
           {1,
            {"", nullptr, "logEvent"},
            "0 0 0 1",
            trace + " | " + unknown("") + " | " + unknown("(null)")},
           {1, {}, "1 1 1 1", ""},
           {0, {}, "0 0 0 0", trace}}) {
    EXPECT_EQ(FMI(fmi2SetDebugLogging)(c, on, names.size(), names.data()), fmi2OK);
    EXPECT_EQ(seen(), log);
    EXPECT_EQ(list(record(c).logCategories, 4), switches);
    EXPECT_EQ(record(c).loggingOn, on);
  }
}

TEST_F(Running, AnImporterThatThrowsGetsAnErrorAndNoException) {
  const C c = initialized("m", fmi2True);
  const auto fail = [] { throw std::runtime_error("from a callback"); };
  importer.onCallback = fail;
  EXPECT_EQ(FMI(fmi2DoStep)(c, 1, 1, 0), fmi2Error);
  EXPECT_EQ(record(c).state, InstanceState::Error);
  EXPECT_EQ(FMI(fmi2Reset)(c), fmi2Error);
  EXPECT_TRUE(run("foreign set 4 40").ends_with("-> Error"));
  EXPECT_EQ(instantiate("n"), nullptr);  // the first request throws
  importer.requests.clear();
  importer.onCallback = [&] {
    if (importer.requests.size() == 5) fail();
  };
  EXPECT_EQ(instantiate("n"), nullptr);
  EXPECT_EQ(std::exchange(importer.freed, {}).size(), 5u);
  importer.onCallback = fail;
  FMI(fmi2FreeInstance)(c);
  EXPECT_EQ(importer.freed.size(), 8u) << "the logger and freeMemory throw; all is freed";
  EXPECT_EQ(std::uncaught_exceptions(), 0) << "the importer's runtime believes one is under way";
  importer.onCallback = [] {};
  seen();
}

}  // namespace
