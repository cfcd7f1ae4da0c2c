// Writing the modelDescription.xml of a packed Java model.
#pragma once

#include <string>

#include "fmu_file/model_description.h"

// The complete XML of a packed co-simulation model, whose variables are Real, in the order of their
// value references. A unit that is used and not defined is listed without a base unit.
std::string writeModelDescription(const ModelDescription& model);
