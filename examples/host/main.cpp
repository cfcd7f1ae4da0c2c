// A host for a Java model, to copy from: it starts the JVM, loads zelvox.so as an importer does,
// runs one instance of the DC motor of examples/dcmotor through its whole life and writes a CSV.
//
//   host LIBJVM ZELVOX_SO CLASS_PATH RESULT_CSV
//
// The order matters: the JVM first, on the thread that will call the FMU, then the library, whose
// need for libjvm.so is met by the one that is already loaded.
#include <dlfcn.h>
#include <jni.h>

#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iomanip>
#include <memory>
#include <stdexcept>
#include <string>

#include "fmi2Functions.h"

namespace {

// Value references as the model's description gives them: the outputs from 0, then their mirror,
// the inputs behind both, then the parameters from 6 on.
constexpr std::array<fmi2ValueReference, 2> outputReferences = {0, 1};  // speed, current
constexpr std::array<fmi2ValueReference, 2> inputReferences = {4, 5};   // voltage, load

constexpr const char* guid = "{6F1C2D3A-8B4E-4F70-9A1D-2E5B7C9D0F13}";
constexpr int steps = 500;
constexpr double stepSize = 1e-3;  // s

std::string lastFmuMessage;

[[noreturn]] void fail(const std::string& sentence) {
  throw std::runtime_error(sentence);
}

void* load(const char* file) {
  // Global, so that what is loaded later finds the JVM's functions.
  void* const handle = dlopen(file, RTLD_NOW | RTLD_GLOBAL);
  if (handle == nullptr) fail(std::string("cannot load ") + file + ": " + dlerror());
  return handle;
}

template <class Function>
Function* find(void* library, const char* name) {
  void* const address = dlsym(library, name);
  if (address == nullptr) fail(dlerror());
  return reinterpret_cast<Function*>(address);
}

void startJvm(const char* libjvm, const std::string& classPath) {
  std::string classPathOption = "-Djava.class.path=" + classPath;
  std::string reducedSignals = "-Xrs";  // Ctrl-C stays with this program
  std::array<JavaVMOption, 2> options{};
  options[0].optionString = classPathOption.data();
  options[1].optionString = reducedSignals.data();
  JavaVMInitArgs arguments{};
  arguments.version = JNI_VERSION_1_8;
  arguments.nOptions = static_cast<jint>(options.size());
  arguments.options = options.data();
  JavaVM* vm = nullptr;
  void* env = nullptr;
  const auto create = find<decltype(JNI_CreateJavaVM)>(load(libjvm), "JNI_CreateJavaVM");
  const jint result = create(&vm, &env, &arguments);
  if (result != JNI_OK)
    fail("the JVM could not be created (JNI error " + std::to_string(result) + ")");
}

void logMessage(fmi2ComponentEnvironment, fmi2String, fmi2Status, fmi2String, fmi2String format,
                ...) {
  std::array<char, 1024> text{};
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text.data(), text.size(), format, arguments);
  va_end(arguments);
  lastFmuMessage = text.data();
}

void check(fmi2Status status, const char* function) {
  if (status > fmi2Warning) fail(std::string(function) + " failed: " + lastFmuMessage);
}

void run(const char* libjvm, const char* libraryFile, const char* classPath, const char* csvFile) {
  startJvm(libjvm, classPath);
  void* const library = load(libraryFile);
  const auto setReal = find<fmi2SetRealTYPE>(library, "fmi2SetReal");
  const auto getReal = find<fmi2GetRealTYPE>(library, "fmi2GetReal");
  const auto doStep = find<fmi2DoStepTYPE>(library, "fmi2DoStep");

  // The callbacks must outlive the instance. calloc gives zero-filled memory, also for zero
  // elements.
  const fmi2CallbackFunctions callbacks = {logMessage, std::calloc, std::free, nullptr, nullptr};
  const std::unique_ptr<void, fmi2FreeInstanceTYPE*> instance(
      find<fmi2InstantiateTYPE>(library, "fmi2Instantiate")("motor", fmi2CoSimulation, guid, "",
                                                            &callbacks, fmi2False, fmi2False),
      find<fmi2FreeInstanceTYPE>(library, "fmi2FreeInstance"));
  const fmi2Component motor = instance.get();
  if (motor == nullptr) fail("fmi2Instantiate failed: " + lastFmuMessage);
  // The functions whose only argument is the instance.
  const auto call = [&](const char* function) {
    check(find<fmi2TerminateTYPE>(library, function)(motor), function);
  };

  check(find<fmi2SetupExperimentTYPE>(library, "fmi2SetupExperiment")(motor, fmi2False, 0.0, 0.0,
                                                                      fmi2True, steps * stepSize),
        "fmi2SetupExperiment");
  call("fmi2EnterInitializationMode");
  call("fmi2ExitInitializationMode");
  std::ofstream csv(csvFile);
  csv << std::setprecision(17) << "time,speed,current\n";
  std::array<double, 2> outputs{};
  for (int i = 0; i <= steps; ++i) {
    if (i > 0) {
      const std::array<double, 2> inputs = {12.0, 0.01};  // V, N.m; they may change at every step
      check(setReal(motor, inputReferences.data(), inputs.size(), inputs.data()), "fmi2SetReal");
      check(doStep(motor, (i - 1) * stepSize, stepSize, fmi2True), "fmi2DoStep");
    }
    check(getReal(motor, outputReferences.data(), outputs.size(), outputs.data()), "fmi2GetReal");
    csv << i * stepSize << ',' << outputs[0] << ',' << outputs[1] << '\n';
  }
  call("fmi2Terminate");
  if (!csv.flush()) fail(std::string("cannot write ") + csvFile);
  std::printf("%d points, at the end %.6f rad/s\n", steps + 1, outputs[0]);
}

}  // namespace

int main(int argc, char* argv[]) {
  if (argc != 5) {
    std::fprintf(stderr, "usage: %s LIBJVM ZELVOX_SO CLASS_PATH RESULT_CSV\n", argv[0]);
    return 2;
  }
  try {
    run(argv[1], argv[2], argv[3], argv[4]);
    return 0;
  } catch (const std::exception& problem) {
    std::fprintf(stderr, "host: %s\n", problem.what());
    return 1;
  }
}
