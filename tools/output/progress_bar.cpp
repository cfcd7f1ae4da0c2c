#include "output/progress_bar.h"

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "words/layout.h"
#include "words/numbers.h"

namespace {

// By the rate so far; empty as long as that says little.
std::string timeLeft(double elapsed, long long done, long long all) {
  constexpr double enough = 1.0;
  if (elapsed < enough || done <= 0 || done >= all) return {};
  const double seconds = elapsed * static_cast<double>(all - done) / static_cast<double>(done);
  struct Unit {
    const char* name;
    double seconds;
  };
  constexpr Unit units[] = {{"d", 86400.0}, {"h", 3600.0}, {"min", 60.0}, {"s", 1.0}};
  const Unit* unit = units;
  while (unit->seconds > 1.0 && seconds < 2.0 * unit->seconds) ++unit;
  return "  " + numberText(std::ceil(seconds / unit->seconds)) + " " + unit->name + " left";
}

}  // namespace

ProgressBar::ProgressBar(bool wanted)
    : visible(wanted && isatty(STDERR_FILENO) != 0), begin(std::chrono::steady_clock::now()) {}

ProgressBar::~ProgressBar() {
  if (shownPercent >= 0) std::fputs("\r\x1b[K", stderr);
}

void ProgressBar::show(long long done, long long all) {
  if (!visible) return;
  const int percent =
      static_cast<int>(100.0 * static_cast<double>(done) / static_cast<double>(all));
  const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - begin;
  const auto second = static_cast<long long>(elapsed.count());
  if (percent == shownPercent && second == shownSecond) return;
  if (second != shownSecond || done == all) left = timeLeft(elapsed.count(), done, all);
  shownPercent = percent;
  shownSecond = second;
  constexpr int barWidth = 40;
  const std::string bar(static_cast<std::size_t>(barWidth * percent / 100), '#');
  const std::string number = padded(std::to_string(percent), 3, true);
  const std::string line = "[" + padded(bar, barWidth) + "] " + number + " %" + left;
  // What a longer line left behind it goes.
  std::fprintf(stderr, "\r%s", padded(line, width).c_str());
  width = line.size();
}
