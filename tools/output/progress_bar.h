// How far a run is and how long it will take, for somebody who waits at a terminal.
#pragma once

#include <chrono>
#include <string>

// A bar on stderr, drawn anew when it looks different; nothing where stderr is no terminal.
class ProgressBar {
 public:
  // The work begins now.
  explicit ProgressBar(bool wanted);
  // Leaves nothing of the bar.
  ~ProgressBar();
  ProgressBar(const ProgressBar&) = delete;
  ProgressBar& operator=(const ProgressBar&) = delete;

  void show(long long done, long long all);

 private:
  bool visible;
  std::chrono::steady_clock::time_point begin;
  int shownPercent = -1;
  long long shownSecond = 0;  // since the begin
  std::string left;           // anew each second, that it can be read
  std::size_t width = 0;      // of what is drawn
};
