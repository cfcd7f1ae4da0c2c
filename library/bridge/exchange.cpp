// The way of the values: inputs from the instance's array into a step, outputs back into the array.
// Java may answer any counts and any length at any time, so every range is cut to the array.
#include <algorithm>
#include <optional>
#include <span>

#include "bridge/java_calls.h"
#include "bridge/jni_bracket.h"
#include "bridge/jvm_access.h"
#include "bridge/model_calls.h"

namespace {

constexpr JavaMethod getData{"getData", "(Ljava/lang/String;)[D"};
constexpr JavaMethod doStepModel{"doStepModel", "(Ljava/lang/String;DD[D)Z"};

// Puts the outputs, as Java delivers them, into `reals` from its beginning on; nothing when there
// is no method or no answer.
void j_getData(const char* instanceName, std::span<double> reals) {
  const jmethodID method = findJavaMethod(getData);
  if (method == nullptr) return;
  clearJavaException();
  const JavaText name(instanceName);
  if (!name) return;
  const LocalRef array(static_cast<jdoubleArray>(callObject(method, name.get())));
  clearJavaException();
  if (!array) return;
  const auto length = static_cast<std::size_t>(jniEnv->GetArrayLength(array.get()));
  jdouble* const elements = jniEnv->GetDoubleArrayElements(array.get(), nullptr);
  if (elements != nullptr) {
    std::copy_n(elements, std::min(length, reals.size()), reals.begin());
    jniEnv->ReleaseDoubleArrayElements(array.get(), elements, 0);
  }
  clearJavaException();
}

void getoutputsfromzelvox(FmuInstance& instance) {
  j_getData(instance.instanceName,
            {instance.reals, static_cast<std::size_t>(instance.realsLength)});
  instance.valuesDirty = 1;
}

// Where the inputs stand in the array; nothing when Java's counts place them outside of it.
std::optional<std::span<const double>> inputSequence(const FmuInstance& instance,
                                                     std::int64_t numberOfInputs,
                                                     std::int64_t numberOfOutputs) {
  if (numberOfInputs <= 0) return std::span<const double>();
  const std::int64_t first = 2 * numberOfOutputs;
  if (first < 0 || first + numberOfInputs > instance.realsLength) return std::nullopt;
  return std::span(instance.reals + first, static_cast<std::size_t>(numberOfInputs));
}

fmi2Status j_doStepModel(const char* instanceName, std::span<const double> inputs, double time,
                         double stepSize) {
  const jmethodID method = findJavaMethod(doStepModel);
  if (method == nullptr) return fmi2Error;
  const JavaText name(instanceName);
  if (!name) return fmi2Error;
  const auto length = static_cast<jsize>(inputs.size());
  const LocalRef array(jniEnv->NewDoubleArray(length));
  if (!array) return fmi2Error;
  jniEnv->SetDoubleArrayRegion(array.get(), 0, length, inputs.data());
  const bool stepped = callBoolean(method, name.get(), time, stepSize, array.get());
  clearJavaException();  // why the step failed is asked for next
  return stepped ? fmi2OK : fmi2Error;
}

}  // namespace

void updateOutputs(FmuInstance& instance) {
  const JniBracket bracket;
  if (instance.state == InstanceState::InitializationMode) getoutputsfromzelvox(instance);
  const std::int64_t numberOfOutputs = getNumberOfOutputs(instance.instanceName);
  const auto mirrored = std::min(numberOfOutputs, instance.realsLength - numberOfOutputs);
  if (mirrored > 0) std::copy_n(instance.reals, mirrored, instance.reals + numberOfOutputs);
}

fmi2Status j_stepModel(FmuInstance& instance, double communicationStepSize) {
  const JniBracket bracket;
  const std::int32_t numberOfInputs = getNumberOfInputs(instance.instanceName);
  const std::int32_t numberOfOutputs = getNumberOfOutputs(instance.instanceName);
  const auto inputs = inputSequence(instance, numberOfInputs, numberOfOutputs);
  if (!inputs) return fmi2Error;
  clearJavaException();
  const fmi2Status result =
      j_doStepModel(instance.instanceName, *inputs, instance.time, communicationStepSize);
  if (result == fmi2OK) {
    getoutputsfromzelvox(instance);
    clearJavaException();
  }
  return result;
}
