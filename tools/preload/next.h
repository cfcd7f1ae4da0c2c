// The way to the functions that the preloaded object stands before.
#pragma once

#include <dlfcn.h>

// The next definition of the function, most often the C library's. It should be known before the
// first fork: in the child of a process with threads, looking a symbol up can wait for a lock
// forever.
template <typename Function>
Function next(const char* name) noexcept {
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}
