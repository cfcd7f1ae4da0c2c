// Reading the modelDescription.xml of any FMI 2.0 FMU.
#pragma once

#include <string_view>

#include "fmu_file/model_description.h"

// Throws Failure with the place and the reason for text that is no FMI 2.0 model description. What
// the standard gives a default has it. The identifier and needsExecutionTool are those of
// co-simulation when the model has it. A document type is refused, so that there are no entities
// but the five predefined ones.
ModelDescription readModelDescription(std::string_view xml);
