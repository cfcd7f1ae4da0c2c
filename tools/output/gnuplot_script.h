// What gnuplot is told to draw: one panel per unit, one line per variable, dashed for inputs.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "fmu_file/model_description.h"

enum class PictureKind { svg, png };

struct PlotLine {
  const ScalarVariable* variable;
  std::vector<double> values;  // one per time
  bool driven = false;         // an input, told apart
  bool held = false;           // each of its values up to the next time
};

// For at least one line and one time; the picture goes to `file`.
std::string gnuplotScript(const std::filesystem::path& file, PictureKind kind,
                          const std::string& title, const std::vector<double>& times,
                          const std::vector<PlotLine>& lines);
