#include "ending/interrupts.h"

#include <poll.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <future>
#include <thread>
#include <vector>

#include "ending/failure.h"
#include "words/numbers.h"
#include "words/text.h"

namespace {

using namespace std::chrono_literals;

constexpr std::array signals = {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGXFSZ};
// Most commands look for signals so often that they have ended by then, and nothing need be said.
constexpr auto silence = 300ms;
constexpr auto patience = 2000ms;
constexpr auto longestAction = 10s;  // many files on a slow disk take some

pid_t owner = 0;
std::atomic<int> received = 0;

std::atomic<const char*> activity = "the command";
std::atomic<double> activityTime = std::nan("");

// Never destroyed, because the end may come while the static objects of this program go.
std::vector<AtForcedEnd*>& entries = *new std::vector<AtForcedEnd*>;
std::mutex registry;  // of the entries

// Takes all actions, the latest first, and says what they tell behind the sentence.
void putInOrder(std::string said) {
  const std::lock_guard lock(registry);  // no object goes away under its action
  for (auto entry = entries.rbegin(); entry != entries.rend(); ++entry) {
    std::string told;
    try {
      told = (*entry)->act();
    } catch (const std::exception& problem) {
      told = problem.what();
    }
    said += (said.empty() || told.empty() ? "" : "; ") + told;
  }
  entries.clear();
  if (!said.empty()) sayWithoutWaiting(said);
}

// A process forked from this one has nothing to put in order here.
void atExit(int code, void* its) {
  if (reinterpret_cast<std::intptr_t>(its) != getpid()) return;
  putInOrder(endIsOurs || endIsSaid
                 ? ""
                 : "native code ended the process with exit code " + std::to_string(code));
  if (endIsOurs || (code & 0xFF) != 0) return;  // all that the caller of the process gets to see
  std::fflush(nullptr);
  std::_Exit(static_cast<int>(ExitCode::failed));
}

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
  if (received.compare_exchange_strong(none, signal)) received.notify_one();
  errno = error;
}

std::string signalName(int signal) {
  const char* const name = sigabbrev_np(signal);
  return name != nullptr ? std::string("SIG") + name : "signal " + std::to_string(signal);
}

std::string awaited() {
  const double time = activityTime;
  return activity.load() + (std::isnan(time) ? "" : " at t=" + timeText(time));
}

// The thread of its own, which has to get by without the others.
void watch() {
  received.wait(0);
  std::this_thread::sleep_for(silence);
  sayWithoutWaiting(signalName(received) + " came, waiting up to 2 s for " + awaited());
  std::this_thread::sleep_for(patience - silence);
  putInOrder(endedBy(received) + " while waiting for " + awaited());
  std::_Exit(exitCodeOf(received));
}

}  // namespace

void catchInterrupts() {
  owner = getpid();
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

AtForcedEnd::AtForcedEnd(std::function<std::string()> called) : action(std::move(called)) {
  [[maybe_unused]] static const int registered =
      on_exit(atExit, reinterpret_cast<void*>(std::intptr_t{getpid()}));
  const std::lock_guard lock(registry);
  entries.push_back(this);
}

AtForcedEnd::~AtForcedEnd() {
  const std::lock_guard lock(registry);
  std::erase(entries, this);
}

std::string AtForcedEnd::act() {
  std::packaged_task<std::string()> task([this] {
    mutex.lock();  // and never unlocked, see busy()
    return action();
  });
  std::future<std::string> told = task.get_future();
  std::thread(std::move(task)).detach();
  return told.wait_for(longestAction) == std::future_status::ready ? told.get() : "";
}

void sayWithoutWaiting(const std::string& text) {
  const std::string line = "zelvox: " + sentence(text) + "\n";
  pollfd stream = {STDERR_FILENO, POLLOUT, 0};
  // A pipe that takes anything takes a sentence at once (PIPE_BUF).
  if (poll(&stream, 1, 0) != 1 || (stream.revents & POLLOUT) == 0) return;
  [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, line.data(), line.size());
}
