// The descriptors that the JVM keeps open. It leaves them to every child of the program; here they
// are closed when the child, or the process itself, runs another program. And what the JVM reports
// when the program crashes goes to stderr.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdarg>
#include <string_view>

#include "preload/code_owner.h"
#include "preload/next.h"

namespace {

// The files that the JVM reads classes from. Others may be meant for a child: Java's ProcessBuilder
// passes the files that it redirects to, and its pipes, through a helper program.
bool holdsClasses(std::string_view path) noexcept {
  constexpr std::array<std::string_view, 4> endings{".jar", ".jmod", ".zip", "/modules"};
  return std::any_of(endings.begin(), endings.end(),
                     [path](std::string_view ending) { return path.ends_with(ending); });
}

// Without a path open() fails, and does not crash. By its declaration that cannot be, so that
// inline the question would be left out.
[[gnu::noinline]] std::string_view nameIn(const char* path) noexcept {
  return path != nullptr ? path : "";
}

}  // namespace

#pragma GCC visibility push(default)
extern "C" {

int open(const char* path, int flags, ...) {
  // The third argument is there only when a file may be created.
  const bool creates = (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE;
  va_list rest;
  va_start(rest, flags);
  const mode_t mode = creates ? va_arg(rest, mode_t) : 0;
  va_end(rest);
  const void* const caller = __builtin_return_address(0);
  const std::string_view name = nameIn(path);
  // The report of a crash. Opened by its name, a file that the program writes its messages to would
  // be cut to nothing first.
  if (name == "/dev/stderr" && isLibjvms(caller)) return fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0);
  const int closing = holdsClasses(name) && isJvms(caller) ? O_CLOEXEC : 0;
  return libc().open(path, flags | closing, mode);
}

// All files are large ones here, also for the C library.
int open64(const char* path, int flags, ...) __attribute__((alias("open")));

// The JVM says on stdout that there was a crash, whatever its options are. The program's stdout is
// not the place for that.
ssize_t write(int fd, const void* bytes, size_t count) {
  const bool crash = fd == STDOUT_FILENO && isLibjvms(__builtin_return_address(0));
  return libc().write(crash ? STDERR_FILENO : fd, bytes, count);
}

int socket(int domain, int type, int protocol) noexcept {
  const int closing = isJvms(__builtin_return_address(0)) ? SOCK_CLOEXEC : 0;
  return libc().socket(domain, type | closing, protocol);
}

int socketpair(int domain, int type, int protocol, int ends[2]) noexcept {
  const int closing = isJvms(__builtin_return_address(0)) ? SOCK_CLOEXEC : 0;
  return libc().socketpair(domain, type | closing, protocol, ends);
}

int accept(int listening, sockaddr* address, socklen_t* length) {
  if (!isJvms(__builtin_return_address(0))) return libc().accept(listening, address, length);
  return libc().accept4(listening, address, length, SOCK_CLOEXEC);
}

int eventfd(unsigned int count, int flags) noexcept {
  const int closing = isJvms(__builtin_return_address(0)) ? EFD_CLOEXEC : 0;
  return libc().eventfd(count, flags | closing);
}

}  // extern "C"
#pragma GCC visibility pop
