#include "ending/forced_end.h"

#include <poll.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <thread>
#include <vector>

#include "ending/failure.h"
#include "words/text.h"

namespace {

struct Registry {
  std::mutex mutex;
  std::vector<AtForcedEnd*> entries;
};

// Never destroyed, because the end may come while the static objects of this program go.
Registry& registry() {
  static auto* const only = new Registry;
  return *only;
}

// Takes all actions, the latest first, and gives what they tell.
std::string putInOrder() {
  const std::lock_guard lock(registry().mutex);  // no object goes away under its action
  std::string all;
  std::vector<AtForcedEnd*>& entries = registry().entries;
  for (auto entry = entries.rbegin(); entry != entries.rend(); ++entry) {
    std::string told;
    try {
      told = (*entry)->act();
    } catch (const std::exception& problem) {
      told = problem.what();
    }
    if (!told.empty()) all += (all.empty() ? "" : "; ") + told;
  }
  entries.clear();
  return all;
}

// A process forked from this one has nothing to put in order here.
void atExit(int code, void* owner) {
  if (reinterpret_cast<std::intptr_t>(owner) != getpid()) return;
  std::string said;
  if (!endIsOurs && !endIsSaid)
    said = "native code ended the process with exit code " + std::to_string(code);
  const std::string told = putInOrder();
  said += (said.empty() || told.empty() ? "" : "; ") + told;
  if (!said.empty()) sayWithoutWaiting(said);
  if (endIsOurs || (code & 0xFF) != 0) return;  // all that the caller of the process gets to see
  std::fflush(nullptr);
  std::_Exit(static_cast<int>(ExitCode::failed));
}

}  // namespace

AtForcedEnd::AtForcedEnd(std::function<std::string()> called) : action(std::move(called)) {
  [[maybe_unused]] static const int registered =
      on_exit(atExit, reinterpret_cast<void*>(std::intptr_t{getpid()}));
  const std::lock_guard lock(registry().mutex);
  registry().entries.push_back(this);
}

AtForcedEnd::~AtForcedEnd() {
  const std::lock_guard lock(registry().mutex);
  std::erase(registry().entries, this);
}

std::string AtForcedEnd::act() {
  constexpr std::chrono::seconds longest(10);  // many files on a slow disk take some
  std::packaged_task<std::string()> task([this] {
    mutex.lock();  // and never unlocked, see busy()
    return action();
  });
  std::future<std::string> told = task.get_future();
  std::thread(std::move(task)).detach();
  return told.wait_for(longest) == std::future_status::ready ? told.get() : "";
}

void endByForce(const std::string& sentence, int exitCode) {
  const std::string told = putInOrder();
  sayWithoutWaiting(sentence + (told.empty() ? "" : "; ") + told);
  std::_Exit(exitCode);
}

void sayWithoutWaiting(const std::string& text) {
  const std::string line = "zelvox: " + sentence(text) + "\n";
  pollfd stream = {STDERR_FILENO, POLLOUT, 0};
  // A pipe that takes anything takes a sentence at once (PIPE_BUF).
  if (poll(&stream, 1, 0) != 1 || (stream.revents & POLLOUT) == 0) return;
  [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, line.data(), line.size());
}
