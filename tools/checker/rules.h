// Every check, by the file that it is in. What each asks for is said in the table of check.cpp.
#pragma once

#include "checker/checked.h"

// schema.cpp
void checkSchema(const Checked&, const Report&);

// head_rules.cpp
void checkEncoding(const Checked&, const Report&);
void checkVersion(const Checked&, const Report&);
void checkKinds(const Checked&, const Report&);
void checkBinaries(const Checked&, const Report&);
void checkExperiment(const Checked&, const Report&);
void checkUniqueNames(const Checked&, const Report&);

// type_rules.cpp
void checkUnits(const Checked&, const Report&);
void checkDeclaredTypes(const Checked&, const Report&);
void checkEnumerations(const Checked&, const Report&);
void checkRanges(const Checked&, const Report&);

// variable_rules.cpp
void checkNames(const Checked&, const Report&);
void checkCombinations(const Checked&, const Report&);
void checkStarts(const Checked&, const Report&);
void checkAliases(const Checked&, const Report&);
void checkStates(const Checked&, const Report&);

// structure_rules.cpp
void checkOutputs(const Checked&, const Report&);
void checkDerivatives(const Checked&, const Report&);
void checkInitialUnknowns(const Checked&, const Report&);
void checkDependencies(const Checked&, const Report&);
