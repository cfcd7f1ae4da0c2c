// What belongs to one instance of the model: its values, its time, its place in the call sequence
// and the importer's callbacks. The record and everything that it points to (but `functions` and
// `componentEnvironment`) is memory from the importer's allocateMemory. What all instances share
// lives in bridge/.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "fmi2Functions.h"

// Where an instance stands in the call sequence. Each value is one bit, so that a set of states is
// their OR. Nothing enters StepInProgress, StepFailed and StepCanceled: steps are synchronous.
enum class InstanceState : std::uint32_t {
  Instantiated = 2,
  InitializationMode = 4,
  EventMode = 8,
  ContinuousTimeMode = 16,
  StepComplete = 32,
  StepInProgress = 64,
  StepFailed = 128,
  StepCanceled = 256,
  Terminated = 512,
  Error = 1024
};

constexpr InstanceState operator|(InstanceState a, InstanceState b) {
  return static_cast<InstanceState>(static_cast<std::uint32_t>(a) | static_cast<std::uint32_t>(b));
}

constexpr bool contains(InstanceState states, InstanceState state) {
  return (static_cast<std::uint32_t>(states) & static_cast<std::uint32_t>(state)) != 0;
}

// An enumeration value from the importer as the number that it is. It may be none of the
// enumerators, and must then not be read as one.
template <class Enumeration>
std::int32_t numberOf(const Enumeration& value) {
  static_assert(sizeof(Enumeration) == sizeof(std::int32_t));
  std::int32_t number;
  std::memcpy(&number, &value, sizeof number);
  return number;
}

inline constexpr std::size_t numberOfLogCategories = 4;

// The importer's handle, fmi2Component, is the address of this record. The model has real variables
// only; the arrays of the other types have no elements.
struct FmuInstance {
  fmi2Real* reals;  // by value reference: outputs, their mirror, inputs, parameters
  fmi2Integer* integers;
  fmi2Boolean* booleans;
  fmi2String* strings;
  std::int32_t* eventIndicatorFlags;  // one element
  double time;                        // begins the current or last step
  char* instanceName;                 // never NULL
  std::int32_t type;                  // fmi2Type, as the importer gave it
  char* guid;                         // never NULL
  const fmi2CallbackFunctions* functions;
  fmi2Boolean loggingOn;                              // the last switch given; decides nothing
  std::int32_t logCategories[numberOfLogCategories];  // switches, in the order of LogCategory
  fmi2ComponentEnvironment componentEnvironment;
  InstanceState state;  // exactly one flag
  fmi2EventInfo eventInfo;
  std::int32_t valuesDirty;        // 1: the outputs must be refreshed before they are handed out
  std::int32_t newEventIteration;  // 1: event mode was entered and its iteration not yet made
  // How many elements `reals` has. Java's own answer may change later; no access goes beyond this.
  std::int64_t realsLength;
};
