// An importer and its host in one process: the library loaded with the dynamic loader, callbacks
// that note what they are given, a JVM with the tests' simulation object, and scenarios, which are
// lines "command = everything that came of it".
#pragma once

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <jni.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <iterator>
#include <map>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "instance/fmu_instance.h"

using C = fmi2Component;
using Lines = std::vector<std::string>;

// Asks `new` for nothing, so that it also serves where that fails.
inline void* symbol(const char* name) {
  static void* const library = dlopen(LIBRARY_FILE, RTLD_NOW | RTLD_LOCAL);
  void* const address = library != nullptr ? dlsym(library, name) : nullptr;
  return address != nullptr ? address : throw std::runtime_error(dlerror());
}

// The library's function of that name: FMI(fmi2Reset)(c).
#define FMI(function) reinterpret_cast<decltype(&function)>(symbol(#function))

inline constexpr const char* guid = "{6F1C2D3A-8B4E-4F70-9A1D-2E5B7C9D0F13}";

inline constexpr std::array states = {
    InstanceState::Instantiated, InstanceState::InitializationMode,
    InstanceState::EventMode,    InstanceState::ContinuousTimeMode,
    InstanceState::StepComplete, InstanceState::StepInProgress,
    InstanceState::StepFailed,   InstanceState::StepCanceled,
    InstanceState::Terminated,   InstanceState::Error};
inline constexpr std::array<const char*, 10> stateNames = {
    "Instantiated",   "InitializationMode", "EventMode",    "ContinuousTimeMode", "StepComplete",
    "StepInProgress", "StepFailed",         "StepCanceled", "Terminated",         "Error"};

inline std::string nameOf(InstanceState state) {
  const auto found = std::ranges::find(states, state);
  return found != states.end() ? stateNames.at(found - states.begin()) : "no state";
}

// Memory with a fence on both sides. AddressSanitizer has its own, and sees reads beyond them, too.
struct Block {
  void* memory;
  std::size_t size;
};
#ifdef __SANITIZE_ADDRESS__
inline constexpr std::size_t fence = 0;
#else
inline constexpr std::size_t fence = 64;
#endif

inline void* fenced(std::size_t size) {
  auto* const start = static_cast<char*>(std::malloc(size + 2 * fence));
  std::memset(start, 'F', size + 2 * fence);
  return std::memset(start + fence, 0, size);
}

inline bool intact(const Block& block) {
  const auto* const start = static_cast<const char*>(block.memory) - fence;
  for (std::size_t i = 0; i < fence; ++i)
    if (start[i] != 'F' || start[fence + block.size + i] != 'F') return false;
  return true;
}

inline void giveBack(const Block& block) {
  EXPECT_TRUE(intact(block)) << "wrote beyond its memory";
  std::free(static_cast<char*>(block.memory) - fence);
}

// What was seen and how the callbacks behave. Its address is the componentEnvironment.
struct Importer {
  Lines seen;  // messages as "status category instanceName: text", and Java calls
  Lines requests;
  std::vector<Block> blocks;
  std::vector<void*> freed;
  std::size_t refused = 0;           // the request that gets no memory, counted from 1
  std::function<void()> onCallback;  // called by every callback first
};

inline Importer importer;

inline void logger(fmi2ComponentEnvironment environment, fmi2String instanceName, fmi2Status status,
                   fmi2String category, fmi2String format, ...) {
  importer.onCallback();
  char text[400];
  va_list arguments;
  va_start(arguments, format);
  vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  importer.seen.push_back((environment == &importer ? "" : "wrong environment ") +
                          Lines{"OK", "Warning", "Discard", "Error"}.at(status) + ' ' + category +
                          ' ' + (instanceName != nullptr ? instanceName : "NULL") + ": " + text);
}

// A request for a negative number of elements gets none, and one for millions is refused.
inline void* allocateMemory(std::size_t count, std::size_t size) {
  importer.onCallback();
  importer.requests.push_back(std::to_string(count) + " x " + std::to_string(size));
  if (count > 1u << 31) count = 0;
  if (importer.requests.size() == importer.refused || count > 1u << 20) return nullptr;
  importer.blocks.push_back({fenced(count * size), count * size});
  return importer.blocks.back().memory;
}

inline void freeMemory(void* block) {
  const auto found = std::ranges::find(importer.blocks, block, &Block::memory);
  ASSERT_NE(found, importer.blocks.end()) << "not a block of the importer";
  giveBack(*found);
  importer.blocks.erase(found);
  importer.freed.push_back(block);
  importer.onCallback();
}

// -Xcheck:jni reports what it finds through the JVM's "vfprintf".
inline jint hearJvm(FILE* file, const char* format, va_list arguments) {
  std::array<char, 512> text{};
  const int length = std::vsnprintf(text.data(), text.size(), format, arguments);
  for (const char* sign : {"WARNING in native", "FATAL ERROR", "exceeds capacity"})
    EXPECT_EQ(std::strstr(text.data(), sign), nullptr) << text.data();
  std::fputs(text.data(), file);
  return length;
}

inline std::string joined(const Lines& lines) {
  std::string text;
  for (const auto& line : lines) text += (text.empty() ? "" : " | ") + line;
  return text;
}

class Host : public testing::Test {
 protected:
  fmi2CallbackFunctions functions{logger, allocateMemory, freeMemory, nullptr, &importer};
  JavaVM* vm = nullptr;
  JNIEnv* env = nullptr;  // of the main thread
  const JNINativeInterface_* jni = nullptr;
  jclass sim = nullptr;
  std::map<std::string, C> instances;  // by name; what a test does not free is freed at its end

  Host() {
    importer.onCallback = [this] { noteJavaCalls(); };
  }

  void start(const std::string& classPath = DOUBLE_JAR, Lines options = {}) {
    options.insert(options.end(), {"-Djava.class.path=" + classPath, "-Xcheck:jni",
                                   "-XX:+UseSerialGC", "-XX:TieredStopAtLevel=1"});
    std::vector<JavaVMOption> pointers = {
        {const_cast<char*>("vfprintf"), reinterpret_cast<void*>(hearJvm)}};
    for (auto& option : options) pointers.push_back({option.data(), nullptr});
    const auto count = static_cast<jint>(pointers.size());
    JavaVMInitArgs arguments{JNI_VERSION_1_8, count, pointers.data(), JNI_FALSE};
    ASSERT_EQ(JNI_CreateJavaVM(&vm, reinterpret_cast<void**>(&env), &arguments), JNI_OK)
        << "a process can have one JVM in its life: run the tests with ctest";
    jni = env->functions;
    const jclass found = env->FindClass("com/zelvox/qorbetta/ZelvoxSim");
    env->ExceptionClear();
    sim = static_cast<jclass>(env->NewGlobalRef(found));  // also seen from within native methods
  }

  // ZelvoxSim.play, also while the library has left an exception behind or a test has replaced
  // functions of the environment.
  std::string play(const std::string& key, const std::string& behaviour = "usual") {
    const auto* const replaced = std::exchange(env->functions, jni);
    const jthrowable pending = env->ExceptionOccurred();
    env->ExceptionClear();
    env->PushLocalFrame(8);
    const jmethodID method = env->GetStaticMethodID(
        sim, "play", "(Ljava/lang/String;Ljava/lang/String;)Ljava/lang/String;");
    const auto answer = static_cast<jstring>(env->CallStaticObjectMethod(
        sim, method, env->NewStringUTF(key.c_str()), env->NewStringUTF(behaviour.c_str())));
    EXPECT_FALSE(env->ExceptionCheck());
    const char* const characters = env->GetStringUTFChars(answer, nullptr);
    const std::string text = characters;
    env->ReleaseStringUTFChars(answer, characters);
    env->PopLocalFrame(nullptr);
    if (pending != nullptr) env->Throw(pending);
    env->DeleteLocalRef(pending);
    env->functions = replaced;
    return text;
  }

  // Brings the Java calls among the messages. Only the main thread can ask for them.
  void noteJavaCalls() {
    void* current = nullptr;
    if (sim == nullptr || vm->GetEnv(&current, JNI_VERSION_1_8) != JNI_OK || current != env) return;
    std::istringstream lines(play("lines"));
    for (std::string line; std::getline(lines, line);) importer.seen.push_back(line);
  }

  // What was seen since the last time: everything, or only the messages or the Java calls.
  std::string seen() {
    noteJavaCalls();
    return joined(std::exchange(importer.seen, {}));
  }
  Lines log() { return take(true); }
  Lines calls() { return take(false); }

  C instantiate(const char* name = "m", int loggingOn = 0, fmi2Type type = fmi2CoSimulation,
                const char* location = "file:///r") {
    return instances[name] =
               FMI(fmi2Instantiate)(name, type, guid, location, &functions, 0, loggingOn);
  }
  // An instance that is ready for its first step, or in event mode; nothing of it is noted.
  C initialized(const char* name = "m", int loggingOn = 0, fmi2Type type = fmi2CoSimulation) {
    instantiate(name, loggingOn, type);
    for (const std::string command : {".setup", ".enter", ".exit"}) run(name + command);
    seen();
    return instances[name];
  }

  static FmuInstance& record(C c) { return *static_cast<FmuInstance*>(c); }
  static std::vector<double> reals(C c) {
    return {record(c).reals, record(c).reals + record(c).realsLength};
  }
  template <class Value>
  static std::string list(const Value* values, std::size_t length) {
    std::ostringstream text;
    for (std::size_t i = 0; i < length; ++i) text << (i > 0 ? " " : "") << values[i];
    return text.str();
  }
  static fmi2Status set(C c, fmi2ValueReference vr, double value) {
    return FMI(fmi2SetReal)(c, &vr, 1, &value);
  }
  // NaN when nothing was written.
  static double get(C c, fmi2ValueReference vr) {
    double value = NAN;
    FMI(fmi2GetReal)(c, &vr, 1, &value);
    return value;
  }

  // On a thread of its own, which is attached neither before nor after.
  void onForeignThread(const std::function<void()>& work) {
    std::thread([&] {
      void* none = nullptr;
      work();
      EXPECT_EQ(vm->GetEnv(&none, JNI_VERSION_1_8), JNI_EDETACHED);
    }).join();
  }

  // What "[foreign ][instance.]command argument..." does to the library or to the double, and all
  // that came of it: messages and Java calls, "-> Error", a new state in brackets.
  std::string run(const std::string& command) {
    std::istringstream text(command);
    Lines words{std::istream_iterator<std::string>(text), {}};
    if (words[0] == "java")  // java KEY BEHAVIOUR
      return play(words[1], command.substr(words[1].size() + 6));
    const bool foreign = words[0] == "foreign";
    if (foreign) words.erase(words.begin());
    const auto dot = words[0].find('.');
    const auto name = dot < words[0].size() ? words[0].substr(0, dot) : "m";
    words[0].erase(0, dot + 1);
    words.resize(4);
    C& c = instances[name];
    const auto before = c != nullptr ? record(c).state : InstanceState::Instantiated;
    auto status = fmi2OK;
    const auto work = [&] { status = call(name, c, words); };
    foreign ? onForeignThread(work) : work();
    auto result = seen();
    if (status != fmi2OK) result += " -> Error";
    if (c != nullptr && record(c).state != before) result += " [" + nameOf(record(c).state) + ']';
    return result.substr(result.starts_with(' '));
  }

  // Lines of "command = what came of it"; a line that begins with "=" continues the one before.
  void scenario(const std::string& text) {
    std::vector<std::array<std::string, 2>> steps;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines >> std::ws, line);) {
      const auto at = line.find("= ");
      const auto expected = at < line.size() ? line.substr(at + 2) : "";
      if (at == 0)
        steps.back()[1] += " | " + expected;
      else
        steps.push_back({line.substr(0, line.find(" =")), expected});
    }
    for (const auto& [command, expected] : steps) EXPECT_EQ(run(command), expected) << command;
  }

  void TearDown() override {
    EXPECT_EQ(log(), Lines{}) << "messages that the test did not look at";
    for (const auto& [name, c] : instances)
      if (std::ranges::count(importer.blocks, c, &Block::memory) > 0) FMI(fmi2FreeInstance)(c);
    EXPECT_EQ(importer.blocks.size(), 0u) << "memory that was not given back";
  }

 private:
  Lines take(bool messages) {
    noteJavaCalls();
    Lines taken;
    for (auto& line : std::exchange(importer.seen, {}))
      ((line.find(" log") < 8 || line.find(" error ") < 8) == messages ? taken : importer.seen)
          .push_back(line);
    return taken;
  }

  fmi2Status call(const std::string& name, C& c, const Lines& words) {
    const auto number = [&](std::size_t i) { return std::atof(words[i].c_str()); };
    const auto vr = static_cast<fmi2ValueReference>(number(1));
    const auto& command = words[0];
    if (command == "setup")
      return FMI(fmi2SetupExperiment)(c, 1, 1e-3, number(1), std::atoi(words[2].c_str()),
                                      number(3));
    if (command == "enter") return FMI(fmi2EnterInitializationMode)(c);
    if (command == "exit") return FMI(fmi2ExitInitializationMode)(c);
    if (command == "step") return FMI(fmi2DoStep)(c, number(1), number(2), fmi2False);
    if (command == "terminate") return FMI(fmi2Terminate)(c);
    if (command == "reset") return FMI(fmi2Reset)(c);
    if (command == "set") return set(c, vr, number(2));
    if (command == "new") return instantiate(name.c_str()) != nullptr ? fmi2OK : fmi2Error;
    if (command == "free") {
      FMI(fmi2FreeInstance)(std::exchange(c, nullptr));
    } else if (command == "state") {
      record(c).state = states.at(std::ranges::find(stateNames, words[1]) - stateNames.begin());
    } else if (command == "get") {
      const double value = get(c, vr);
      noteJavaCalls();
      importer.seen.push_back(list(&value, 1));
    } else if (command == "show") {
      importer.seen.push_back("time " + list(&record(c).time, 1) + ", dirty " +
                              list(&record(c).valuesDirty, 1) + ", reals " +
                              list(record(c).reals, reals(c).size()));
    } else {
      throw std::runtime_error("no such command: " + command);
    }
    return fmi2OK;
  }
};

// With a JVM whose simulation object has every method.
class Running : public Host {
 protected:
  void SetUp() override { start(); }
};
