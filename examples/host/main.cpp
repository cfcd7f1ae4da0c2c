// A host for a Java model, to copy from: it starts the JVM, loads zelvox.so as an importer does,
// runs one instance of the DC motor of examples/dcmotor through its whole life, writes a CSV and
// says how far the result is from the exact solution.
//
//   host LIBJVM ZELVOX_SO CLASS_PATH RESULT_CSV
//
// The order matters: the JVM first, on the thread that will call the FMU, then the library, whose
// need for libjvm.so is met by the one that is already loaded.
#include <dlfcn.h>
#include <jni.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <complex>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <string>

#include "fmi2Functions.h"

namespace {

// Value references as the model's description gives them: the outputs from 0, then their mirror,
// the inputs behind both, then the parameters.
constexpr std::array<fmi2ValueReference, 2> outputReferences = {0, 1};  // speed, current
constexpr std::array<fmi2ValueReference, 2> inputReferences = {4, 5};   // voltage, load
constexpr std::array<fmi2ValueReference, 5> parameterReferences = {6, 7, 8, 9,
                                                                   10};  // J, b, k, R, L

constexpr const char* guid = "{6F1C2D3A-8B4E-4F70-9A1D-2E5B7C9D0F13}";
constexpr const char* instanceName = "motor";
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

// One instance from its instantiation to its release.
class Motor {
 public:
  explicit Motor(void* library)
      : doStep(find<fmi2DoStepTYPE>(library, "fmi2DoStep")),
        getReal(find<fmi2GetRealTYPE>(library, "fmi2GetReal")),
        setReal(find<fmi2SetRealTYPE>(library, "fmi2SetReal")),
        freeInstance(find<fmi2FreeInstanceTYPE>(library, "fmi2FreeInstance")),
        library(library),
        component(find<fmi2InstantiateTYPE>(library, "fmi2Instantiate")(
            instanceName, fmi2CoSimulation, guid, "", &callbacks, fmi2False, fmi2False)) {
    if (component == nullptr) fail("fmi2Instantiate failed: " + lastFmuMessage);
  }
  ~Motor() { freeInstance(component); }
  Motor(const Motor&) = delete;
  Motor& operator=(const Motor&) = delete;

  void initialize(double stopTime) {
    check(find<fmi2SetupExperimentTYPE>(library, "fmi2SetupExperiment")(component, fmi2False, 0.0,
                                                                        0.0, fmi2True, stopTime),
          "fmi2SetupExperiment");
    run("fmi2EnterInitializationMode");
    run("fmi2ExitInitializationMode");
  }

  template <std::size_t n>
  void set(const std::array<fmi2ValueReference, n>& references,
           const std::array<double, n>& values) {
    check(setReal(component, references.data(), n, values.data()), "fmi2SetReal");
  }

  template <std::size_t n>
  std::array<double, n> get(const std::array<fmi2ValueReference, n>& references) {
    std::array<double, n> values{};
    check(getReal(component, references.data(), n, values.data()), "fmi2GetReal");
    return values;
  }

  void step(double time) { check(doStep(component, time, stepSize, fmi2True), "fmi2DoStep"); }

  void terminate() { run("fmi2Terminate"); }

 private:
  // The functions whose only argument is the instance.
  void run(const char* function) {
    check(find<fmi2TerminateTYPE>(library, function)(component), function);
  }

  // Must outlive the instance. calloc gives zero-filled memory, also for zero elements.
  static constexpr fmi2CallbackFunctions callbacks = {logMessage, std::calloc, std::free, nullptr,
                                                      nullptr};

  fmi2DoStepTYPE* doStep;
  fmi2GetRealTYPE* getReal;
  fmi2SetRealTYPE* setReal;
  fmi2FreeInstanceTYPE* freeInstance;
  void* library;
  fmi2Component component;
};

// The exact motion of the same motor under inputs that are constant from step to step:
//
//   J dw/dt = k i - b w - load        L di/dt = voltage - R i - k w
//
// is linear with two states, so its matrix exponential has a closed form.
class ExactMotor {
 public:
  explicit ExactMotor(const std::array<double, 5>& parameters) {
    const auto [J, b, k, R, L] = parameters;
    A = {{{-b / J, k / J}, {-k / L, -R / L}}};
    B = {{{0.0, -1.0 / J}, {1.0 / L, 0.0}}};
    const double mean = (A[0][0] + A[1][1]) / 2;
    determinant = A[0][0] * A[1][1] - A[0][1] * A[1][0];
    const std::complex<double> q = std::sqrt(std::complex<double>(mean * mean - determinant));
    const double even = std::exp(mean * stepSize) * std::cosh(q * stepSize).real();
    const double odd = std::exp(mean * stepSize) * (std::sinh(q * stepSize) / q).real();
    for (std::size_t row = 0; row < 2; ++row) {
      for (std::size_t column = 0; column < 2; ++column) {
        const double identity = row == column ? 1.0 : 0.0;
        transition[row][column] = even * identity + odd * (A[row][column] - mean * identity);
      }
    }
  }

  void step(const std::array<double, 2>& inputs) {
    // Relative to the state at rest under these inputs the motion is free.
    const double u0 = B[0][0] * inputs[0] + B[0][1] * inputs[1];
    const double u1 = B[1][0] * inputs[0] + B[1][1] * inputs[1];
    const std::array<double, 2> rest = {(A[0][1] * u1 - A[1][1] * u0) / determinant,
                                        (A[1][0] * u0 - A[0][0] * u1) / determinant};
    const double x0 = state[0] - rest[0];
    const double x1 = state[1] - rest[1];
    for (std::size_t row = 0; row < 2; ++row)
      state[row] = rest[row] + transition[row][0] * x0 + transition[row][1] * x1;
  }

  std::array<double, 2> state{};  // speed, current

 private:
  using Matrix = std::array<std::array<double, 2>, 2>;
  Matrix A{}, B{}, transition{};
  double determinant = 0.0;
};

std::array<double, 2> inputsAt(double time) {
  const double voltage = time < 0.05 ? 0.0 : 12.0 + 4.0 * std::sin(40.0 * time);
  const double load = time < 0.3 ? 0.0 : 0.05;
  return {voltage, load};
}

void showProgress(int done) {
  constexpr int width = 40;
  if (isatty(STDERR_FILENO) == 0 || done % (steps / 100) != 0) return;
  const std::string bar(static_cast<std::size_t>(done * width / steps), '#');
  std::fprintf(stderr, "\r[%-*s] %3d %%%s", width, bar.c_str(), done * 100 / steps,
               done == steps ? "\n" : "");
}

std::string number(double value) {
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%.16g", value);
  return text.data();
}

void run(const char* libjvm, const char* libraryFile, const char* classPath, const char* csvFile) {
  startJvm(libjvm, classPath);
  Motor motor(load(libraryFile));
  std::ofstream csv(csvFile);
  csv << "\"time\",\"speed\",\"current\",\"voltage\",\"load\"\n";

  motor.initialize(steps * stepSize);
  ExactMotor exact(motor.get(parameterReferences));  // the values that the model starts with
  std::array<double, 2> largestDeviation{};
  std::array<double, 2> largestValue{};
  std::array<double, 2> outputs = motor.get(outputReferences);
  for (int i = 0; i <= steps; ++i) {
    const double time = i * stepSize;
    const auto inputs = inputsAt(time);
    csv << number(time) << ',' << number(outputs[0]) << ',' << number(outputs[1]) << ','
        << number(inputs[0]) << ',' << number(inputs[1]) << '\n';
    for (std::size_t j = 0; j < 2; ++j) {
      largestValue[j] = std::max(largestValue[j], std::abs(exact.state[j]));
      // Written so that a value that is not a number counts as a deviation.
      const double deviation = std::abs(outputs[j] - exact.state[j]);
      if (!(deviation <= largestDeviation[j])) largestDeviation[j] = deviation;
    }
    showProgress(i);
    if (i == steps) break;
    motor.set(inputReferences, inputs);
    motor.step(time);
    exact.step(inputs);
    outputs = motor.get(outputReferences);
  }
  motor.terminate();
  if (!csv.flush()) fail(std::string("cannot write ") + csvFile);

  std::printf("%d steps of %g s\n\n", steps, stepSize);
  std::printf("%-16s %18s %18s %20s\n", "at the end", "co-simulated", "exact", "largest deviation");
  constexpr std::array<const char*, 2> names = {"speed [rad/s]", "current [A]"};
  for (std::size_t j = 0; j < 2; ++j) {
    std::printf("%-16s %18.12g %18.12g %20.2e\n", names[j], outputs[j], exact.state[j],
                largestDeviation[j]);
    if (!(largestDeviation[j] <= 1e-6 * largestValue[j]))
      fail(std::string("the co-simulated ") + names[j] + " is off by more than a millionth");
  }
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
