// The way to the functions that the preloaded object stands before.
#pragma once

#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <threads.h>
#include <unistd.h>

template <typename Function>
Function next(const char* name) noexcept {
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

// Their next definitions, most often the C library's.
struct NextFunctions {
  decltype(&::execve) execve = next<decltype(&::execve)>("execve");
  decltype(&::execvpe) execvpe = next<decltype(&::execvpe)>("execvpe");
  decltype(&::fexecve) fexecve = next<decltype(&::fexecve)>("fexecve");
  decltype(&::execveat) execveat = next<decltype(&::execveat)>("execveat");
  decltype(&::open) open = next<decltype(&::open)>("open");
  decltype(&::write) write = next<decltype(&::write)>("write");
  decltype(&::socket) socket = next<decltype(&::socket)>("socket");
  decltype(&::socketpair) socketpair = next<decltype(&::socketpair)>("socketpair");
  decltype(&::accept) accept = next<decltype(&::accept)>("accept");
  decltype(&::accept4) accept4 = next<decltype(&::accept4)>("accept4");
  decltype(&::eventfd) eventfd = next<decltype(&::eventfd)>("eventfd");
  decltype(&::pthread_create) pthreadCreate = next<decltype(&::pthread_create)>("pthread_create");
  decltype(&::thrd_create) thrdCreate = next<decltype(&::thrd_create)>("thrd_create");
};

// To be called before the first fork: in the child of a process with threads, looking a symbol up
// can wait for a lock forever.
inline const NextFunctions& libc() noexcept {
  static const NextFunctions functions;
  return functions;
}
