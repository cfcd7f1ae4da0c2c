// The end of a process whose main thread does not come back, because foreign code hangs or ends the
// process: what must not be left half done (files, directories, child processes) is put in order.
#pragma once

#include <atomic>
#include <functional>
#include <mutex>
#include <string>

// Stands beside what has to be put in order, as long as there is something.
class AtForcedEnd {
 public:
  // `action` is called at most once, by endByForce() or std::exit(), on another thread. It gives
  // what is to be told about it, or nothing.
  explicit AtForcedEnd(std::function<std::string()> action);
  // From here on the action is not called any more.
  ~AtForcedEnd();
  AtForcedEnd(const AtForcedEnd&) = delete;
  AtForcedEnd& operator=(const AtForcedEnd&) = delete;

  // As long as the result lives, the action waits: for changes to what it works on. Once the action
  // was called, this never returns.
  [[nodiscard]] std::unique_lock<std::mutex> busy() { return std::unique_lock(mutex); }

  // Takes the action, and gives it up when it takes longer than some seconds.
  std::string act();

 private:
  std::function<std::string()> action;
  std::mutex mutex;
};

// Takes all actions, the latest first, and ends the process: the sentence and what the actions tell
// go to stderr.
[[noreturn]] void endByForce(const std::string& sentence, int exitCode);

// Of this process, before main() returns. Who calls exit() before that is native code of an FMU or
// a model, which ends what we were about to do: the actions are taken, a sentence says so, unless
// it was said before, and the exit code is never 0.
inline std::atomic<bool> endIsOurs = false;
inline std::atomic<bool> endIsSaid = false;

// Prints one line on stderr, unless nobody takes it: it never waits.
void sayWithoutWaiting(const std::string& sentence);
