// How far a run is, for somebody who waits at a terminal.
#pragma once

#include <unistd.h>

#include <cstdio>
#include <string>

// A bar on stderr, drawn anew when it looks different; nothing where nobody watches.
class ProgressBar {
 public:
  explicit ProgressBar(bool wanted) : visible(wanted && isatty(STDERR_FILENO) != 0) {}
  ~ProgressBar() {
    if (shownPercent >= 0) std::fputs("\r\x1b[K", stderr);
  }

  void show(long long done, long long all) {
    const int percent =
        static_cast<int>(100.0 * static_cast<double>(done) / static_cast<double>(all));
    if (!visible || percent == shownPercent) return;
    shownPercent = percent;
    constexpr int width = 40;
    const std::string bar(static_cast<std::size_t>(width * percent / 100), '#');
    std::fprintf(stderr, "\r[%-*s] %3d %%", width, bar.c_str(), percent);
  }

 private:
  bool visible;
  int shownPercent = -1;
};
