// Asking a Java model what it is, in the JVM of this process, and reading its answer.
#pragma once

#include <jni.h>

#include <filesystem>
#include <string>
#include <vector>

#include "fmu_file/model_description.h"
#include "packer/model_input.h"

struct PackedModel {
  std::string javaClass;
  std::string xml;                    // the modelDescription.xml, with an empty GUID and date
  ModelDescription description;       // what stands in it
  std::vector<std::string> warnings;  // sentences for the author
};

// What the model in the jars says about itself; an empty `javaClass` stands for the only one.
// Throws Failure with what is wrong with it.
PackedModel askModel(const std::filesystem::path& resources, const ModelJars& jars,
                     const std::string& javaClass, JNIEnv* env);
