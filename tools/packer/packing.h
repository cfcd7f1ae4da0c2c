// The road from the files of a model to an FMU that can be written, and what lies in it, file by
// file.
#pragma once

#include <jni.h>

#include <filesystem>
#include <string>
#include <vector>

#include "fmu_file/archive_writer.h"
#include "fmu_file/model_description.h"
#include "packer/model_input.h"

struct PackedFmu {
  std::string javaClass;
  ModelDescription description;       // without GUID and date
  std::vector<std::string> warnings;  // sentences for the author
  std::filesystem::path file;         // where it is to be written
  std::vector<ArchiveEntry> entries;
};

// Compiles, asks the model what it is and lists what the FMU contains. An empty `file` stands for
// one that is named after the model, in the current directory. `scratch` is an empty directory that
// is kept until the FMU is written. Throws Failure.
PackedFmu packModel(const ModelInput& input, const std::filesystem::path& file,
                    const std::filesystem::path& scratch, JNIEnv* env);
