// An FMU's modelDescription.xml as the commands see it: read from any FMI 2.0 FMU, written for a
// packed Java model.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

struct UnitDefinition {
  std::string name;
  bool hasBaseUnit = false;
  std::array<int, 8> exponents{};  // kg, m, s, A, K, mol, cd, rad
  double factor = 1.0;
  double offset = 0.0;
};

struct ScalarVariable {
  std::string name;
  std::uint32_t valueReference = 0;
  std::string description;
  std::string causality;    // input, output, parameter, local, independent, ...
  std::string variability;  // continuous, tunable, ...
  std::string initial;      // exact, calculated, or empty
  std::string type;         // Real, Integer, Boolean, String, Enumeration
  std::string unit;
  std::optional<double> start, min, max, nominal;  // a Boolean starts at 0 or 1, a String nowhere
};

struct ModelDescription {
  std::string modelName, description, guid, modelIdentifier;
  std::string author, version, license, copyright, generationTool, generationDateAndTime;
  bool coSimulation = false;
  bool modelExchange = false;
  bool needsExecutionTool = false;
  std::optional<double> startTime, stopTime, stepSize, tolerance;  // DefaultExperiment, in seconds
  std::vector<UnitDefinition> units;
  std::vector<ScalarVariable> variables;
};

// The GUID that the library insists on; every packed model carries it.
inline constexpr std::string_view zelvoxGuid = "{6F1C2D3A-8B4E-4F70-9A1D-2E5B7C9D0F13}";

// Throws Failure with the place and the reason for text that is no FMI 2.0 model description. What
// the standard gives a default has it. The identifier and needsExecutionTool are those of
// co-simulation when the model has it. A document type is refused, so that there are no entities
// but the five predefined ones.
ModelDescription readModelDescription(std::string_view xml);

// The complete XML of a packed co-simulation model, whose variables are Real, in the order of their
// value references. A unit that is used and not defined is listed without a base unit.
std::string writeModelDescription(const ModelDescription& model);
