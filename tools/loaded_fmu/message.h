// The messages that an FMU sends through its logger callback.
#pragma once

#include <cstdarg>
#include <string>

#include "fmu_file/model_description.h"

// What the callback's text and arguments say, with the names of the model's variables in place of
// their value references: "#r12#" is a variable, "##" a "#" (section 2.1.5). What is neither stays
// as it is.
std::string messageText(const char* text, va_list arguments, const ModelDescription& model);
