// The signals that ask a command to end: SIGINT (Ctrl-C), SIGTERM, SIGHUP (the terminal was
// closed), SIGQUIT, and SIGXFSZ (a file became larger than it may). The command looks for them
// where it can stop, and ends in order. When it does not within two seconds, since code that is not
// ours does not return, it is ended by force.
#pragma once

#include <limits>
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
