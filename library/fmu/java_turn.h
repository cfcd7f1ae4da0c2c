// Who may call Java now. The bridge has no lock, and two threads in it at once would bring the
// process down, so one atomic word names the thread that is in a call which may reach Java. A call
// of another thread that comes meanwhile is refused; the same thread may call again, as callbacks
// and models do.
#pragma once

#include "bridge/jni_bracket.h"

class JavaTurn {
 public:
  // Nothing is refused to a call that does not reach Java.
  explicit JavaTurn(bool reachesJava) noexcept;
  ~JavaTurn();
  JavaTurn(const JavaTurn&) = delete;
  JavaTurn& operator=(const JavaTurn&) = delete;

  bool refused() const noexcept { return place == Place::refused; }

  // Whether the calling thread is in a call that may reach Java.
  static bool isOurs() noexcept;

 private:
  enum class Place { outside, first, nested, refused };
  Place place = Place::outside;
  JavaAccess outer;  // of a nested call: what the call around it goes on with
};
