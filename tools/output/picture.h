// A picture of a simulation result, drawn by gnuplot.
#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

#include "files/safe_file.h"
#include "output/gnuplot_script.h"

// Of which a reader can still tell one from the other by the legend.
inline constexpr std::size_t mostPlotLines = 60;

// Whether the ending of the file names a kind of picture that can be made.
bool isPictureFile(const std::filesystem::path& file);

// Throws Failure, which says what to install, where gnuplot cannot be run.
void checkGnuplot();

class Picture {
 public:
  // Throws Failure when gnuplot is missing or the file cannot be written, so that nobody hears of
  // it only after a long run.
  explicit Picture(const std::filesystem::path& file);
  // For at least one line. Throws Failure when there is no whole picture; then the
  // file stays as it was.
  void draw(const std::string& title, const std::vector<PlotLine>& lines);

 private:
  std::filesystem::path file;
  SafeFile content;
};
