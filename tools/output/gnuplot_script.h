// What gnuplot is told to draw: one panel per unit, one line per variable, dashed for inputs.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "fmu_file/model_description.h"
#include "output/trace.h"

enum class PictureKind { svg, png };

struct PlotLine {
  const ScalarVariable* variable;
  Trace trace;          // of at least one point
  bool driven = false;  // an input, told apart
  bool held = false;    // each of its values up to the next time
};

// For at least one line, all over the same times; the picture goes to `file`.
std::string gnuplotScript(const std::filesystem::path& file, PictureKind kind,
                          const std::string& title, const std::vector<PlotLine>& lines);
