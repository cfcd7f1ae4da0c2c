#include "tables.h"

#include <array>
#include <cstdio>
#include <string>

#include "importer.h"

namespace {

std::string text(const char* format, auto... values) {
  std::array<char, 128> buffer;
  std::snprintf(buffer.data(), buffer.size(), format, values...);
  return buffer.data();
}

std::string duration(double nanoseconds) {
  if (nanoseconds < 999.5) return text(nanoseconds < 10 ? "%.1f ns" : "%.0f ns", nanoseconds);
  const double microseconds = nanoseconds / 1e3;
  return text(microseconds < 100 ? "%.2f µs" : "%.0f µs", microseconds);
}

std::string ratio(const Spread& s) {
  return text("**%.2f** (%.2f–%.2f)", s.median, s.low, s.high);
}

// The cases that ran.
template <class Print>
void forEachResult(const std::vector<Case>& cases, Print print) {
  for (const Case& c : cases)
    if (const Result* const result = resultOf(c)) print(c, *result);
}

}  // namespace

void printOperations(const std::vector<Case>& cases) {
  std::printf("| operation | (a) | (b) | (c) | (a)/(b) | target | (a)/(c) |\n");
  std::printf("|---|---:|---:|---:|---:|---:|---:|\n");
  forEachResult(cases, [](const Case& c, const Result& result) {
    std::printf("| %s |", c.name.c_str());
    for (const double n : result.nanoseconds) std::printf(" %s |", duration(n).c_str());
    std::printf(" %s | %s | %s |\n", ratio(result.ratios[0]).c_str(),
                c.target > 0 ? text("%.2f", c.target).c_str() : "",
                ratio(result.ratios[1]).c_str());
  });
}

void printCalls(const std::vector<Case>& cases) {
  std::printf("\n| call | alone | times in a step | together |\n|---|---:|---:|---:|\n");
  double total = 0.0;
  forEachResult(cases, [&total](const Case& c, const Result& result) {
    const double each = result.nanoseconds[0];
    total += each * c.timesPerStep;
    std::printf("| %s | %s | %s | %s |\n", c.name.c_str(), duration(each).c_str(),
                c.timesPerStep > 0 ? text("%d", c.timesPerStep).c_str() : "",
                c.timesPerStep > 0 ? duration(each * c.timesPerStep).c_str() : "");
  });
  std::printf("| all of a step | | | %s |\n", duration(total).c_str());
}

void printJava(const std::vector<Case>& cases) {
  std::printf("\n| a step of the demonstration model | with | without | ratio | target |\n");
  std::printf("|---|---:|---:|---:|---:|\n");
  forEachResult(cases, [](const Case& c, const Result& result) {
    std::printf("| %s | %s | %s | %s | %.2f |\n", c.name.c_str(),
                duration(result.nanoseconds[0]).c_str(), duration(result.nanoseconds[1]).c_str(),
                ratio(result.ratios[0]).c_str(), c.target);
  });
}

void writeData(const char* file, const std::vector<Case>& cases) {
  std::FILE* const out = std::fopen(file, "w");
  if (out == nullptr) fail(std::string("cannot write ") + file);
  forEachResult(cases, [out](const Case& c, const Result& result) {
    if (c.width > 0)
      std::fprintf(out, "%g\t%g\t%g\t%g\n", c.width, result.nanoseconds[0], result.nanoseconds[1],
                   result.nanoseconds[2]);
  });
  std::fprintf(out, "\n\n");
  forEachResult(cases, [out](const Case& c, const Result& result) {
    const Spread& spread = result.ratios[0];
    std::fprintf(out, "\"%s\"\t%g\t%g\t%g\t%s\n", c.name.c_str(), spread.low, spread.median,
                 spread.high, c.target > 0 ? text("%g", c.target).c_str() : "NaN");
  });
  if (std::fclose(out) != 0) fail(std::string("cannot write ") + file);
}
