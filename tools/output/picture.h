// A picture of a simulation result, drawn by gnuplot: one panel per unit, one line per variable.
#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

#include "fmu_file/model_description.h"

// Of which a reader can still tell one from the other by the legend.
inline constexpr std::size_t mostPlotLines = 60;

struct PlotLine {
  const ScalarVariable* variable;
  std::vector<double> values;  // one per time
};

// Whether the ending of the file names a kind of picture that drawPlot() can make.
bool isPlotFile(const std::filesystem::path& file);

// For at least one line and one time. Throws Failure when gnuplot is missing or does not make the
// picture.
void drawPlot(const std::filesystem::path& file, const std::string& title,
              const std::vector<double>& times, const std::vector<PlotLine>& lines);
