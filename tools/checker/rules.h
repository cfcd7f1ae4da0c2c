// Every check, by the file that it is in. Its name stands behind each finding, and in docs/info.md
// with what it asks for.
#pragma once

#include <vector>

#include "checker/subject.h"

struct NamedCheck {
  const char* name;
  Check check;
};

extern const std::vector<NamedCheck> schemaRules, headRules, typeRules, variableRules,
    structureRules;

// Says so of each child that has the name of another one.
void checkUniqueIn(const pugi::xml_node& list, const char* element, const Report& report);
