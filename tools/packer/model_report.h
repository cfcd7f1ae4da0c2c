// Asking a Java model what it is, in a JVM of this process, and reading its answer.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "fmu_file/model_description.h"

struct PackedModel {
  std::string javaClass;
  ModelDescription description;  // without a GUID
};

// Starts a JVM in this process, which can be done once. `resources` holds the jars of these names;
// an empty `model` stands for the one class that they name as a service. Throws Failure with what
// is wrong with the model.
PackedModel askModel(const std::filesystem::path& resources, const std::string& model,
                     const std::vector<std::filesystem::path>& jars,
                     const std::vector<std::string>& jvmOptions);
