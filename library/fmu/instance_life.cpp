// Instantiation, reset and release.
#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <new>

#include "bridge/model_calls.h"
#include "fmu/exported_call.h"

// `zelvox pack` writes another one over it, in the copy that goes into an FMU. Weak, so that no
// compiler takes the value that stands here for the one that is compared.
[[gnu::weak, gnu::section(".zelvox_guid")]] extern const char modelGuid[];
const char modelGuid[] = "{6F1C2D3A-8B4E-4F70-9A1D-2E5B7C9D0F13}";

namespace {

constexpr const char* outOfMemory = "fmi2Instantiate: Out of memory.";

// No record exists yet, so no switch can hold these messages back.
template <class... Arguments>
void logFailure(const fmi2CallbackFunctions& functions, fmi2String instanceName, const char* format,
                Arguments... arguments) {
  callLogger(functions, functions.componentEnvironment, instanceName, fmi2Error, "error", format,
             arguments...);
}

// Gives the record and what it owns back to the importer, the record last. An importer that throws
// from freeMemory must not keep the rest from being freed.
void release(const fmi2CallbackFunctions& functions, FmuInstance* instance) noexcept {
  const std::array<void*, 8> owned = {instance->reals,
                                      instance->integers,
                                      instance->booleans,
                                      instance->strings,
                                      instance->eventIndicatorFlags,
                                      instance->instanceName,
                                      instance->guid,
                                      instance};
  for (void* memory : owned)
    if (memory != nullptr) shielded([&] { functions.freeMemory(memory); });
}

struct Release {
  const fmi2CallbackFunctions& functions;
  void operator()(FmuInstance* instance) const noexcept { release(functions, instance); }
};

template <class Element>
Element* allocate(const fmi2CallbackFunctions& functions, size_t count) {
  return static_cast<Element*>(functions.allocateMemory(count, sizeof(Element)));
}

bool argumentsAreValid(const fmi2CallbackFunctions& functions, fmi2String instanceName,
                       fmi2String guid) {
  if (functions.allocateMemory == nullptr || functions.freeMemory == nullptr) {
    logFailure(functions, instanceName, "fmi2Instantiate: Missing callback function.");
  } else if (instanceName == nullptr || *instanceName == '\0') {
    logFailure(functions, "?", "fmi2Instantiate: Missing instance name.");
  } else if (guid == nullptr || *guid == '\0') {
    logFailure(functions, instanceName, "fmi2Instantiate: Missing GUID.");
  } else if (std::strcmp(guid, modelGuid) != 0) {
    logFailure(functions, instanceName, "fmi2Instantiate: Wrong GUID %s. Expected %s.", guid,
               modelGuid);
  } else {
    return true;
  }
  return false;
}

// The record with its arrays and texts, or an empty pointer when the importer has no memory left.
std::unique_ptr<FmuInstance, Release> allocateInstance(const fmi2CallbackFunctions& functions,
                                                       fmi2String instanceName, fmi2String guid) {
  std::unique_ptr<FmuInstance, Release> instance(nullptr, Release{functions});
  void* const memory = allocate<FmuInstance>(functions, 1);
  if (memory == nullptr) return instance;
  instance.reset(new (memory) FmuInstance{});

  const std::int32_t numberOfReals = getNumberOfReals(instanceName);
  instance->reals = allocate<fmi2Real>(functions, static_cast<size_t>(numberOfReals));
  instance->integers = allocate<fmi2Integer>(functions, 0);
  instance->booleans = allocate<fmi2Boolean>(functions, 0);
  instance->strings = allocate<fmi2String>(functions, 0);
  instance->eventIndicatorFlags = allocate<std::int32_t>(functions, 1);
  instance->instanceName = allocate<char>(functions, std::strlen(instanceName) + 1);
  instance->guid = allocate<char>(functions, std::strlen(guid) + 1);
  if (instance->reals == nullptr || instance->integers == nullptr ||
      instance->booleans == nullptr || instance->strings == nullptr ||
      instance->eventIndicatorFlags == nullptr || instance->instanceName == nullptr ||
      instance->guid == nullptr) {
    instance.reset();
    return instance;
  }
  instance->realsLength = std::max(numberOfReals, 0);
  std::strcpy(instance->instanceName, instanceName);
  std::strcpy(instance->guid, guid);
  return instance;
}

// The instance, or NULL after a message.
FmuInstance* instantiate(const JavaTurn& turn, fmi2String instanceName, fmi2Type type,
                         fmi2String guid, fmi2String resourceLocation,
                         const fmi2CallbackFunctions& functions, fmi2Boolean loggingOn) {
  if (!argumentsAreValid(functions, instanceName, guid)) return nullptr;
  if (turn.refused()) {
    callLogger(functions, functions.componentEnvironment, instanceName, fmi2Error, "logError",
               overlapMessage, rules::instantiate.function);
    return nullptr;
  }
  if (!connectSimulation(instanceName, resourceLocation != nullptr ? resourceLocation : "")) {
    // Copied before any message: a logger that instantiates replaces the last error text.
    const std::string reason = asFormat(lastErrorText());
    logFailure(functions, instanceName, "fmi2Instantiate: Process error");
    logFailure(functions, instanceName, reason.c_str());
    return nullptr;
  }
  auto instance = allocateInstance(functions, instanceName, guid);
  if (instance == nullptr) {
    logFailure(functions, instanceName, outOfMemory);
    return nullptr;
  }
  instance->type = numberOf(type);
  instance->functions = &functions;
  instance->componentEnvironment = functions.componentEnvironment;
  instance->loggingOn = loggingOn;
  std::ranges::fill(instance->logCategories, loggingOn);
  instance->state = InstanceState::Instantiated;
  instance->valuesDirty = 1;
  logTrace(*instance, "fmi2Instantiate: GUID=%s", guid);
  return instance.release();
}

}  // namespace

fmi2Component fmi2Instantiate(fmi2String instanceName, fmi2Type fmuType, fmi2String fmuGUID,
                              fmi2String fmuResourceLocation,
                              const fmi2CallbackFunctions* functions, fmi2Boolean /*visible*/,
                              fmi2Boolean loggingOn) {
  if (functions == nullptr || functions->logger == nullptr) return nullptr;
  const JavaTurn turn(rules::instantiate.reachesJava);
  const char* failure = outOfMemory;
  try {
    return instantiate(turn, instanceName, fmuType, fmuGUID, fmuResourceLocation, *functions,
                       loggingOn);
  } catch (const std::bad_alloc&) {
  } catch (...) {
    failure = "fmi2Instantiate: A callback of the importer threw an exception.";
  }
  shielded([&] { logFailure(*functions, instanceName, failure); });
  return nullptr;
}

void fmi2FreeInstance(fmi2Component c) {
  exportedCall(c, rules::freeInstance, [](FmuInstance& instance) noexcept {
    shielded([&] { logTrace(instance, "fmi2FreeInstance"); });
    shielded([&] { j_freeInstance(instance.instanceName); });
    release(*instance.functions, &instance);
    return fmi2OK;
  });
}

fmi2Status fmi2Reset(fmi2Component c) {
  return exportedCall(c, rules::reset, [](FmuInstance& instance) {
    logTrace(instance, "fmi2Reset");
    instance.state = InstanceState::Instantiated;
    instance.valuesDirty = 1;
    return fmi2OK;
  });
}
