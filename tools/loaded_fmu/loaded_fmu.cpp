#include "loaded_fmu/loaded_fmu.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <concepts>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <string_view>
#include <type_traits>
#include <utility>

#include "ending/failure.h"
#include "ending/interrupts.h"
#include "words/numbers.h"
#include "words/text.h"

namespace fs = std::filesystem;

namespace {

// By fmi2Status.
constexpr std::array<const char*, 6> statusNames = {"fmi2OK",    "fmi2Warning", "fmi2Discard",
                                                    "fmi2Error", "fmi2Fatal",   "fmi2Pending"};

const char* statusName(fmi2Status status) {
  const auto index = static_cast<std::size_t>(status);
  return index < statusNames.size() ? statusNames[index] : "an unknown status";
}

constexpr const char* booleanName(bool value) {
  return value ? "fmi2True" : "fmi2False";
}

std::string shown(fmi2Real value) {
  return numberText(value);
}
std::string shown(std::integral auto value) {
  return std::to_string(value);
}
std::string shown(fmi2String value) {
  return value != nullptr ? "\"" + std::string(value) + "\"" : "NULL";
}

std::string arrayText(const auto& values) {
  std::string text;
  for (const auto& value : values) text += (text.empty() ? "" : ", ") + shown(value);
  return "[" + text + "]";
}

Cell cellOf(fmi2Real number) {
  return number;
}
Cell cellOf(fmi2String text) {
  return std::string(text != nullptr ? text : "");
}

void fill(fmi2String& text, const Cell& cell) {
  text = std::get<std::string>(cell).c_str();
}
template <class Number>
void fill(Number& number, const Cell& cell) {
  number = static_cast<Number>(std::get<double>(cell));
}

// Of a function without more arguments than the instance, whatever its status.
std::string noArguments(fmi2Status) {
  return {};
}

// The file URI of the FMU's resources, which RFC 3986 wants escaped.
std::string resourceUri(const fs::path& directory) {
  constexpr std::string_view unescaped =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~/";
  std::string uri = "file://";
  for (const char character : (fs::absolute(directory) / "resources").string()) {
    if (unescaped.find(character) != std::string_view::npos) {
      uri += character;
    } else {
      std::array<char, 4> escape{};
      std::snprintf(escape.data(), escape.size(), "%%%02X", static_cast<unsigned char>(character));
      uri += escape.data();
    }
  }
  return uri;
}

std::string format(const char* text, va_list arguments) {
  char* formatted = nullptr;
  if (text == nullptr || vasprintf(&formatted, text, arguments) < 0) return {};
  std::string result = formatted;
  std::free(formatted);
  return result;
}

// Messages name a variable's base type by its first letter, as in "#r12#".
char letterOf(const ScalarVariable& variable) {
  return variable.type == "Enumeration" ? 'i' : static_cast<char>(std::tolower(variable.type[0]));
}

// What a message says, with the names of the model's variables in place of their value references:
// "#r12#" is a variable, "##" a "#" (section 2.1.5). What is neither stays as it is.
std::string withNames(const std::string& text, const ModelDescription& model) {
  std::string result;
  for (std::size_t i = 0; i < text.size(); ++i) {
    result += text[i];
    const std::size_t end = text[i] == '#' ? text.find('#', i + 1) : std::string::npos;
    if (end == std::string::npos) continue;
    const auto reference = parseWhole<std::uint32_t>(text.substr(i + 2, end - i - 2));
    const auto variable = std::ranges::find_if(model.variables, [&](const ScalarVariable& v) {
      return letterOf(v) == text[i + 1] && reference == v.valueReference;
    });
    if (variable != model.variables.end()) result.replace(result.size() - 1, 1, variable->name);
    if (variable != model.variables.end() || end == i + 1) i = end;
  }
  return result;
}

}  // namespace

LoadedFmu::LoadedFmu(const fs::path& directory, const ModelDescription& description,
                     FmuLogging show)
    : model(description),
      logging(show),
      callbacks{receive, std::calloc, std::free, nullptr, this},
      functions{loadBinary(fmuBinary(directory, model))} {
  begin(functions.instantiate.name);
  const std::string version = functions.getVersion.call();
  showCall("fmi2GetVersion()", version.c_str());
  if (version != "2.0")
    throw Failure("the FMU's binary implements FMI " + version + ", expected 2.0");

  const std::string uri = resourceUri(directory);
  const fmi2Boolean loggingOn = logging.messages ? fmi2True : fmi2False;
  component =
      functions.instantiate.call(model.modelName.c_str(), fmi2CoSimulation, model.guid.c_str(),
                                 uri.c_str(), &callbacks, fmi2False, loggingOn);
  showCall("fmi2Instantiate(instanceName=" + shown(model.modelName.c_str()) +
               ", fmuType=fmi2CoSimulation, fmuGUID=" + shown(model.guid.c_str()) +
               ", fmuResourceLocation=" + shown(uri.c_str()) +
               ", visible=fmi2False, loggingOn=" + booleanName(logging.messages) + ")",
           component != nullptr ? "an instance" : "NULL");
  if (component == nullptr) fail(functions.instantiate.name, "the FMU gave no reason");
}

LoadedFmu::~LoadedFmu() {
  endRun();
  if (!usable) return;
  try {
    begin(functions.freeInstance.name);
    functions.freeInstance.call(component);
    showCall("fmi2FreeInstance()", "");
  } catch (const std::exception&) {  // of a binary in C++; nothing is expected of it any more
  }
}

void LoadedFmu::endRun() noexcept {
  try {
    if (running) terminate();
  } catch (const std::exception&) {  // another failure is on its way
  }
}

template <class Type, class Show, class... Arguments>
void LoadedFmu::run(const FmuFunction<Type>& function, Show show, Arguments... arguments) {
  begin(function.name);
  const fmi2Status status = function.call(component, arguments...);
  if (logging.calls)
    showCall(std::string(function.name) + "(" + show(status) + ")", statusName(status));
  require(status, function.name);
}

void LoadedFmu::reset() {
  endRun();
  if (!usable) throw Failure("fmi2Terminate gave fmi2Fatal");
  run(FmuFunction<fmi2ResetTYPE>(functions.library, "fmi2Reset"), noArguments);
}

void LoadedFmu::setupExperiment(std::optional<double> tolerance, double startTime,
                                double stopTime) {
  time = startTime;
  const auto show = [&](fmi2Status) {
    return std::string("toleranceDefined=") + booleanName(tolerance.has_value()) +
           ", tolerance=" + shown(tolerance.value_or(0.0)) + ", startTime=" + shown(startTime) +
           ", stopTimeDefined=fmi2True, stopTime=" + shown(stopTime);
  };
  run(functions.setupExperiment, show, tolerance ? fmi2True : fmi2False, tolerance.value_or(0.0),
      startTime, fmi2True, stopTime);
}

void LoadedFmu::enterInitializationMode() {
  run(functions.enterInitializationMode, noArguments);
}

void LoadedFmu::exitInitializationMode() {
  run(functions.exitInitializationMode, noArguments);
  running = true;
}

bool LoadedFmu::doStep(double communicationPoint, double stepSize) {
  time = communicationPoint;
  begin(functions.doStep.name);
  const fmi2Status status =
      functions.doStep.call(component, communicationPoint, stepSize, fmi2True);
  if (logging.calls)
    showCall("fmi2DoStep(currentCommunicationPoint=" + shown(communicationPoint) +
                 ", communicationStepSize=" + shown(stepSize) +
                 ", noSetFMUStatePriorToCurrentPoint=fmi2True)",
             statusName(status));
  if (status == fmi2Discard && hasTerminated()) return false;
  require(status, functions.doStep.name);
  time = communicationPoint + stepSize;
  return true;
}

bool LoadedFmu::hasTerminated() {
  fmi2Boolean value = fmi2False;
  const fmi2Status status = functions.getBooleanStatus.call(component, fmi2Terminated, &value);
  const bool terminated = value != fmi2False;
  showCall(
      std::string("fmi2GetBooleanStatus(s=fmi2Terminated, value=") + booleanName(terminated) + ")",
      statusName(status));
  if (status == fmi2Fatal) require(status, functions.getBooleanStatus.name);
  return status == fmi2OK && terminated;
}

void LoadedFmu::terminate() {
  running = false;
  run(functions.terminate, noArguments);
}

template <class Type, class Value>
void LoadedFmu::exchange(const FmuFunction<Type>& function,
                         const std::vector<fmi2ValueReference>& vr, std::span<Value> value) {
  if (vr.empty()) return;
  // A get that failed has left nothing to show; what should be a text may not even be one.
  const auto show = [&](fmi2Status status) {
    const bool hasValues = std::is_const_v<Value> || status <= fmi2Warning;
    return "vr=" + arrayText(vr) + (hasValues ? ", value=" + arrayText(value) : "");
  };
  run(function, show, vr.data(), vr.size(), value.data());
}

void LoadedFmu::get(VariableGroup& group) {
  const auto get = [&](const auto& function, auto& part) {
    exchange(function, part.references, std::span(part.values));
    for (std::size_t i = 0; i < part.values.size(); ++i)
      group.values[part.positions[i]] = cellOf(part.values[i]);
  };
  get(functions.getReal, group.reals);
  get(functions.getInteger, group.integers);
  get(functions.getBoolean, group.booleans);
  get(functions.getString, group.strings);
}

void LoadedFmu::set(VariableGroup& group) {
  const auto set = [&](const auto& function, auto& part) {
    for (std::size_t i = 0; i < part.values.size(); ++i)
      fill(part.values[i], group.values[part.positions[i]]);
    exchange(function, part.references, std::span(std::as_const(part.values)));
  };
  set(functions.setReal, group.reals);
  set(functions.setInteger, group.integers);
  set(functions.setBoolean, group.booleans);
  set(functions.setString, group.strings);
}

void LoadedFmu::receive(fmi2ComponentEnvironment self, fmi2String, fmi2Status status,
                        fmi2String category, fmi2String text, ...) {
  va_list arguments;
  va_start(arguments, text);
  auto& instance = *static_cast<LoadedFmu*>(self);
  // The FMU is C: nothing may be thrown through it, and a message is not worth ending for.
  try {
    std::string message = withNames(format(text, arguments), instance.model);
    if (instance.logging.messages)
      instance.show(timeText(instance.time) + " " + statusName(status) + " " +
                    printable(category != nullptr ? category : "") + " " + printable(message));
    if (status >= fmi2Discard && !message.empty()) {
      const std::lock_guard lock(instance.hearing);
      instance.lastError = std::move(message);
    }
  } catch (...) {
  }
  va_end(arguments);
}

void LoadedFmu::show(const std::string& line) const {
  if (logging.file != nullptr)
    logging.file->write(line + "\n");
  else
    std::fprintf(stderr, "%s\n", line.c_str());
}

void LoadedFmu::showCall(const std::string& call, const char* result) const {
  if (logging.calls) show(printable(call) + (*result != '\0' ? " -> " : "") + printable(result));
}

void LoadedFmu::begin(const char* function) {
  {
    const std::lock_guard lock(hearing);
    lastError.clear();
  }
  nowWaitingFor(function, time);
}

void LoadedFmu::require(fmi2Status status, const char* function) {
  if (status == fmi2OK || status == fmi2Warning) return;
  running = false;
  usable = status != fmi2Fatal;
  if (status == fmi2Pending)
    throw Failure(std::string(function) +
                  " is still computing when it returns, expected an FMU that steps synchronously");
  fail(function, std::string("the FMU gave no reason but ") + statusName(status));
}

void LoadedFmu::fail(const char* function, const std::string& withoutReason) {
  const std::lock_guard lock(hearing);
  std::string reason = lastError.empty() ? withoutReason : printable(lastError);
  // Many FMUs begin their messages with the name of the function.
  const std::string prefix = std::string(function) + ": ";
  if (reason.starts_with(prefix)) reason.erase(0, prefix.size());
  const std::string place = component != nullptr ? " at t=" + timeText(time) : "";
  throw Failure(function + place + " failed: " + reason);
}
