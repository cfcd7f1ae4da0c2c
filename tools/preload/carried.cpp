#include "preload/carried.h"

#include <alloca.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstring>
#include <string_view>

#include "preload/next.h"
#include "preload/preload.h"
#include "preload/program.h"

namespace {

constexpr const char* loaderVariable = "LD_PRELOAD";
constexpr std::array variables{preload::jvmLibrary, preload::jvmOptions, preload::objects,
                               preload::follow, preload::mainThreadOnly};

std::array<char*, variables.size()> carried{};  // "NAME=value"; null where the variable is not set
std::string_view objects;                       // the value of preload::objects
pid_t owner = 0;                                // the process whose exec carries on; 0: none

// The value of "NAME=value" when the name is this one, else null.
const char* valueOf(const char* entry, std::string_view name) noexcept {
  const bool same = std::strncmp(entry, name.data(), name.size()) == 0 && entry[name.size()] == '=';
  return same ? entry + name.size() + 1 : nullptr;
}

bool isOurs(const char* entry) noexcept {
  for (const char* name : variables)
    if (valueOf(entry, name) != nullptr) return true;
  return false;
}

// The entry of the environment, and its end when there is none. Not with getenv(), of which shells
// have their own.
char** entryOf(std::string_view name) noexcept {
  char** entry = environ;
  while (*entry != nullptr && valueOf(*entry, name) == nullptr) ++entry;
  return entry;
}

// Leaves `environ` where it is: main() gets what it points to.
void unset(std::string_view name) noexcept {
  while (*entryOf(name) != nullptr)  // a name may stand there twice
    for (char** entry = entryOf(name); *entry != nullptr; ++entry) *entry = entry[1];
}

bool isOurObject(std::string_view path) noexcept {
  for (std::string_view rest = objects; !rest.empty();) {
    const std::size_t length = std::min(rest.find(':'), rest.size());
    if (rest.substr(0, length) == path) return true;
    rest.remove_prefix(std::min(length + 1, rest.size()));
  }
  return false;
}

// Copies a value of LD_PRELOAD without our objects; returns the end of the copy. The copy is never
// longer than the value and may take its place.
char* copyWithoutObjects(const char* value, char* copy) noexcept {
  constexpr const char* separators = ": ";
  char* const start = copy;
  while (*(value += std::strspn(value, separators)) != '\0') {
    const std::size_t length = std::strcspn(value, separators);
    const char* const path = value;
    value += length;
    if (isOurObject({path, length})) continue;
    if (copy != start) *copy++ = ':';
    std::memmove(copy, path, length);
    copy += length;
  }
  *copy = '\0';
  return copy;
}

// `zelvox exec` itself, or --follow.
bool hasOurs(char* const* environment) noexcept {
  for (; environment != nullptr && *environment != nullptr; ++environment)
    if (isOurs(*environment)) return true;
  return false;
}

// Runs `call` with the environment that the next image of this process is to get; `whyNot` says
// whether the program can do without. Without malloc: exec is allowed in signal handlers.
template <typename WhyNot, typename Call>
int carryOn(const char* program, WhyNot whyNot, char* const* environment, Call call) noexcept {
  if (owner == 0 || getpid() != owner || hasOurs(environment)) return call(environment);
  if (const char* const why = whyNot(program)) {
    sayWithoutJvm(program, why);
    return call(environment);
  }
  std::size_t count = 0;
  const char* users = "";
  for (; environment != nullptr && environment[count] != nullptr; ++count)
    if (const char* value = valueOf(environment[count], loaderVariable)) users = value;

  const std::string_view name = loaderVariable;
  auto* const loaderEntry =
      static_cast<char*>(alloca(name.size() + 1 + std::strlen(users) + 1 + objects.size() + 1));
  std::memcpy(loaderEntry, name.data(), name.size());
  loaderEntry[name.size()] = '=';
  char* const value = loaderEntry + name.size() + 1;
  char* end = copyWithoutObjects(users, value);
  if (end != value) *end++ = ':';
  std::memcpy(end, objects.data(), objects.size());
  end[objects.size()] = '\0';

  auto** const full = static_cast<char**>(alloca((count + 1 + carried.size() + 1) * sizeof(char*)));
  char** last = full;
  for (std::size_t i = 0; i < count; ++i)
    if (!isOurs(environment[i]) && valueOf(environment[i], loaderVariable) == nullptr)
      *last++ = environment[i];
  *last++ = loaderEntry;
  for (char* entry : carried)
    if (entry != nullptr) *last++ = entry;
  *last = nullptr;
  return call(full);
}

// Runs `call` with the arguments of a variadic exec as an array.
template <typename Call>
int withArray(const char* first, va_list& rest, Call call) noexcept {
  va_list counting;
  va_copy(counting, rest);
  std::size_t count = 0;
  for (const char* argument = first; argument != nullptr; argument = va_arg(counting, char*))
    ++count;
  va_end(counting);
  auto** const argv = static_cast<char**>(alloca((count + 1) * sizeof(char*)));
  const char* argument = first;
  for (std::size_t i = 0; i < count; ++i, argument = va_arg(rest, char*))
    argv[i] = const_cast<char*>(argument);
  argv[count] = nullptr;
  return call(argv);
}

}  // namespace

Carried takeFromEnvironment() noexcept {
  libc();
  std::array<const char*, variables.size()> values{};
  for (std::size_t i = 0; i < variables.size(); ++i)
    if ((carried[i] = *entryOf(variables[i])) != nullptr)
      values[i] = valueOf(carried[i], variables[i]);
  const auto [library, options, list, follow, mainThreadOnly] = values;
  if (library == nullptr) return {nullptr, "", false};
  const auto isSet = [](const char* value) {
    return value != nullptr && value == std::string_view("1");
  };
  const bool stays = isSet(follow);
  const bool attaches = !isSet(mainThreadOnly);
  if (list != nullptr) objects = list;
  owner = getpid();
  if (!stays) {
    for (const char* name : variables) unset(name);
    if (char* const entry = *entryOf(loaderVariable)) {
      char* const value = entry + std::strlen(loaderVariable) + 1;
      if (copyWithoutObjects(value, value) == value) unset(loaderVariable);
    }
  }
  return {library, options != nullptr ? options : "", attaches};
}

// Every exec that a program can call: the C library's own calls among them do not come through
// execve.
#pragma GCC visibility push(default)
extern "C" {

int execveat(int fd, const char* path, char* const argv[], char* const envp[], int flags) noexcept {
  return carryOn(
      path, [=](const char* file) { return whyNotPreloaded(fd, file); }, envp,
      [=](char* const* full) { return libc().execveat(fd, path, argv, full, flags); });
}

int execve(const char* path, char* const argv[], char* const envp[]) noexcept {
  return carryOn(
      path, [](const char* file) { return whyNotPreloaded(AT_FDCWD, file); }, envp,
      [=](char* const* full) { return libc().execve(path, argv, full); });
}

int execv(const char* path, char* const argv[]) noexcept {
  return execve(path, argv, environ);
}

int execvpe(const char* file, char* const argv[], char* const envp[]) noexcept {
  return carryOn(file, whyNotPreloadedOnPath, envp,
                 [=](char* const* full) { return libc().execvpe(file, argv, full); });
}

int execvp(const char* file, char* const argv[]) noexcept {
  return execvpe(file, argv, environ);
}

int fexecve(int fd, char* const argv[], char* const envp[]) noexcept {
  return carryOn(
      argv[0], [=](const char*) { return whyNotPreloaded(fd, ""); }, envp,
      [=](char* const* full) { return libc().fexecve(fd, argv, full); });
}

int execl(const char* path, const char* argument, ...) noexcept {
  va_list rest;
  va_start(rest, argument);
  const int result = withArray(argument, rest, [=](char** argv) { return execv(path, argv); });
  va_end(rest);
  return result;
}

int execlp(const char* file, const char* argument, ...) noexcept {
  va_list rest;
  va_start(rest, argument);
  const int result = withArray(argument, rest, [=](char** argv) { return execvp(file, argv); });
  va_end(rest);
  return result;
}

int execle(const char* path, const char* argument, ...) noexcept {
  va_list rest;
  va_start(rest, argument);
  const int result = withArray(
      argument, rest, [&](char** argv) { return execve(path, argv, va_arg(rest, char* const*)); });
  va_end(rest);
  return result;
}

}  // extern "C"
#pragma GCC visibility pop
