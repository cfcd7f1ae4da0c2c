// Every check, by the file that it is in. What each asks for is said in the table of check.cpp.
#pragma once

#include "checker/subject.h"

// schema.cpp
void checkSchema(const Subject&, const Report&);

// head_rules.cpp
void checkEncoding(const Subject&, const Report&);
void checkVersion(const Subject&, const Report&);
void checkKinds(const Subject&, const Report&);
void checkBinaries(const Subject&, const Report&);
void checkExperiment(const Subject&, const Report&);
void checkUniqueNames(const Subject&, const Report&);

// type_rules.cpp
void checkUnits(const Subject&, const Report&);
void checkDeclaredTypes(const Subject&, const Report&);
void checkEnumerations(const Subject&, const Report&);
void checkRanges(const Subject&, const Report&);

// variable_rules.cpp
void checkNames(const Subject&, const Report&);
void checkCombinations(const Subject&, const Report&);
void checkStarts(const Subject&, const Report&);
void checkAliases(const Subject&, const Report&);
void checkStates(const Subject&, const Report&);

// structure_rules.cpp
void checkOutputs(const Subject&, const Report&);
void checkDerivatives(const Subject&, const Report&);
void checkInitialUnknowns(const Subject&, const Report&);
void checkDependencies(const Subject&, const Report&);
