// The page documentation/index.html of a packed FMU: what the model is and how to run it.
#pragma once

#include <string>

#include "fmu_file/model_description.h"

// `file` is the FMU's name in the examples.
std::string indexHtml(const ModelDescription& model, const std::string& file);
