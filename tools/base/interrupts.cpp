#include "base/interrupts.h"

#include <csignal>
#include <initializer_list>

namespace {

volatile std::sig_atomic_t received = 0;

}  // namespace

void catchInterrupts() {
  struct sigaction action {};
  action.sa_handler = [](int) { received = 1; };
  action.sa_flags = static_cast<int>(SA_RESETHAND);
  for (const int signal : {SIGINT, SIGTERM}) sigaction(signal, &action, nullptr);
}

bool interrupted() {
  return received != 0;
}
