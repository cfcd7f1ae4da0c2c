// What the author of a model should hear about its units.
#pragma once

#include <string>

#include "fmu_file/model_description.h"

// A sentence on the units that variables use and the model does not define; empty when there are
// none. Importers show such units, but cannot convert them.
std::string unitWarning(const ModelDescription& model);
