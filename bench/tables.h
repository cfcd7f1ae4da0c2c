// What was measured, as tables for docs/performance.md on the standard output.
#pragma once

#include <vector>

#include "measuring.h"

void printOperations(const std::vector<Case>& cases);
void printCalls(const std::vector<Case>& cases);
void printJava(const std::vector<Case>& cases);

// For the chart: times by width, and behind two empty lines the ratios with their targets.
void writeData(const char* file, const std::vector<Case>& cases);
