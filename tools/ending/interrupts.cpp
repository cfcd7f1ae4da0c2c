#include "ending/interrupts.h"

#include <semaphore.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <thread>

#include "ending/forced_end.h"

namespace {

using namespace std::chrono_literals;

constexpr std::array signals = {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGXFSZ};
// A command that looks for signals has ended before it is worth a word.
constexpr auto silence = 300ms;
constexpr auto patience = 2000ms;

pid_t owner = 0;
std::atomic<int> received = 0;
sem_t arrival;

std::atomic<const char*> activity = "the command";
std::atomic<double> activityTime = std::nan("");

// A handler, and no thread in sigwait(): that would not hear of SIGXFSZ, which comes to the thread
// that writes, and blocked signals would stay blocked in the programs that a model starts.
void note(int signal) {
  if (getpid() != owner) {
    std::signal(signal, SIG_DFL);
    raise(signal);
    return;
  }
  const int error = errno;
  int none = 0;
  if (received.compare_exchange_strong(none, signal)) sem_post(&arrival);
  errno = error;
}

std::string signalName(int signal) {
  const char* const name = sigabbrev_np(signal);
  return name != nullptr ? std::string("SIG") + name : "signal " + std::to_string(signal);
}

std::string awaited() {
  std::array<char, 40> time{};
  if (const double t = activityTime; !std::isnan(t))
    std::snprintf(time.data(), time.size(), " at t=%.10g", t);
  return std::string(activity.load()) + time.data();
}

// The thread of its own, which has to get by without the others.
void watch() {
  while (sem_wait(&arrival) != 0) {
  }
  std::this_thread::sleep_for(silence);
  sayWithoutWaiting(signalName(received) + " came, waiting up to 2 s for " + awaited());
  std::this_thread::sleep_for(patience - silence);
  endByForce(endedBy(received) + " while waiting for " + awaited(), exitCodeOf(received));
}

}  // namespace

void catchInterrupts() {
  owner = getpid();
  sem_init(&arrival, 0, 0);
  // Signals of others, which may run foreign handlers, are not for this thread.
  sigset_t others, before;
  sigfillset(&others);
  for (const int signal : signals) sigdelset(&others, signal);
  pthread_sigmask(SIG_SETMASK, &others, &before);
  std::thread(watch).detach();
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  for (const int signal : signals) {
    struct sigaction action {};
    sigaction(signal, nullptr, &action);
    if (action.sa_handler == SIG_IGN) continue;
    action = {};
    action.sa_handler = note;
    action.sa_flags = SA_RESTART | SA_ONSTACK;
    sigaction(signal, &action, nullptr);
  }
}

int interrupted() {
  return received;
}

void nowWaitingFor(const char* what, double time) {
  activity.store(what, std::memory_order_relaxed);
  activityTime.store(time, std::memory_order_relaxed);
}

std::string endedBy(int signal) {
  return "ended by " + signalName(signal);
}
