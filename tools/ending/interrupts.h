// The end of a command before its time. Signals ask for it: SIGINT (Ctrl-C), SIGTERM, SIGHUP (the
// terminal was closed), SIGQUIT, and SIGXFSZ (a file became larger than it may). The command looks
// for them where it can stop, and ends in order. It is ended by force when it does not within two
// seconds, since code that is not ours does not return, and when such code ends the process: then
// what must not be left half done (files, directories, child processes) is put in order.
#pragma once

#include <atomic>
#include <functional>
#include <limits>
#include <mutex>
#include <string>

// From now on the signals are noted, but for those that the process was started to ignore, as by
// nohup. A process forked from this one ends by them as ever.
void catchInterrupts();

// The number of the first signal that came, 0 as long as there was none.
int interrupted();

// What the command does from now on, and at which time of the model, for the sentence that says
// what it waits for. The text must live for ever.
void nowWaitingFor(const char* what, double time = std::numeric_limits<double>::quiet_NaN());

// "ended by SIGINT"
std::string endedBy(int signal);
// As shells count it.
constexpr int exitCodeOf(int signal) {
  return 128 + signal;
}

// A member of what an end by force would leave half done: it puts that in order.
class AtForcedEnd {
 public:
  // `action` is called at most once, at an end by force, on another thread. It gives what is to be
  // told about it, or nothing.
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

// Of this process, before main() returns. Who calls exit() before that is native code of an FMU or
// a model, which ends what we were about to do: the actions are taken, a sentence says so, unless
// it was said before, and the exit code is never 0.
inline std::atomic<bool> endIsOurs = false;
inline std::atomic<bool> endIsSaid = false;

// Prints one line on stderr, unless nobody takes it: it never waits.
void sayWithoutWaiting(const std::string& sentence);
