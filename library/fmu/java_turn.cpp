#include "fmu/java_turn.h"

#include <atomic>
#include <thread>

namespace {

// The id of no thread while nobody is in a call that may reach Java.
std::atomic<std::thread::id> owner;
static_assert(std::atomic<std::thread::id>::is_always_lock_free);

}  // namespace

JavaTurn::JavaTurn(bool reachesJava) noexcept {
  const auto self = std::this_thread::get_id();
  if (owner.load(std::memory_order_relaxed) == self) {
    place = Place::nested;
    outer = setAccessAside();
  } else if (reachesJava) {
    std::thread::id nobody;
    place = owner.compare_exchange_strong(nobody, self, std::memory_order_acquire) ? Place::first
                                                                                   : Place::refused;
  }
}

JavaTurn::~JavaTurn() {
  if (place == Place::nested) giveAccessBack(outer);
  if (place == Place::first) owner.store({}, std::memory_order_release);
}

bool JavaTurn::isOurs() noexcept {
  return owner.load(std::memory_order_relaxed) == std::this_thread::get_id();
}
