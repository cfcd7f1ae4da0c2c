#include "preload/program.h"

#include <elf.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string_view>

namespace {

constexpr int deepestScript = 4;  // as in the kernel

struct Descriptor {
  Descriptor(int directory, const char* path) noexcept
      : number(openat(directory, path, O_RDONLY | O_CLOEXEC | O_NONBLOCK)) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() {
    if (number >= 0) close(number);
  }
  const int number;
};

// With a NUL behind what was read, and nothing for what cannot be read.
template <std::size_t size>
std::string_view read(int file, std::uint64_t offset, std::array<char, size>& buffer) noexcept {
  const ssize_t length = pread(file, buffer.data(), size - 1, static_cast<off_t>(offset));
  const auto end = static_cast<std::size_t>(std::max<ssize_t>(length, 0));
  buffer[end] = '\0';
  return {buffer.data(), end};
}

bool changesRights(int file) noexcept {
  struct stat status {};
  if (fstat(file, &status) != 0) return false;
  return ((status.st_mode & S_ISUID) != 0 && status.st_uid != getuid()) ||
         ((status.st_mode & S_ISGID) != 0 && status.st_gid != getgid());
}

const char* whyNotElf(int file, const Elf64_Ehdr& header, std::string_view name) noexcept {
  if (header.e_ident[EI_CLASS] != ELFCLASS64 || header.e_machine != EM_X86_64)
    return "is built for another machine";
  if (changesRights(file)) return "changes the user or group (setuid)";
  for (unsigned i = 0; i < header.e_phnum; ++i) {
    Elf64_Phdr segment{};
    const std::uint64_t offset = header.e_phoff + std::uint64_t{i} * header.e_phentsize;
    if (pread(file, &segment, sizeof segment, static_cast<off_t>(offset)) != sizeof segment)
      return nullptr;
    if (segment.p_type != PT_INTERP) continue;
    std::array<char, 256> loader{};
    const std::string_view path = read(file, segment.p_offset, loader);
    return path.substr(0, path.find('\0')).find("ld-musl") != std::string_view::npos
               ? "is built for another C library (musl)"
               : nullptr;
  }
  // The dynamic loader itself, which runs a program and preloads for it.
  name.remove_prefix(name.rfind('/') + 1);
  if (name.starts_with("ld-linux") || name.starts_with("ld.so")) return nullptr;
  return "is statically linked";
}

const char* whyNot(int file, const char* name, int depth) noexcept {
  std::array<char, PATH_MAX> start{};
  const std::string_view text = read(file, 0, start);
  if (text.starts_with("#!") && depth < deepestScript) {
    constexpr const char* blanks = " \t";
    char* const interpreter = start.data() + 2 + std::strspn(start.data() + 2, blanks);
    interpreter[std::strcspn(interpreter, " \t\n")] = '\0';
    const Descriptor next(AT_FDCWD, interpreter);
    return next.number < 0 ? nullptr : whyNot(next.number, interpreter, depth + 1);
  }
  Elf64_Ehdr header{};
  if (text.size() < sizeof header || !text.starts_with(ELFMAG)) return nullptr;
  std::memcpy(&header, text.data(), sizeof header);
  return whyNotElf(file, header, name);
}

}  // namespace

const char* whyNotPreloaded(int directory, const char* path) noexcept {
  if (*path == '\0') return whyNot(directory, path, 0);
  const Descriptor file(directory, path);
  return file.number < 0 ? nullptr : whyNot(file.number, path, 0);
}

const char* whyNotPreloadedOnPath(const char* name) noexcept {
  const char* directories = std::getenv("PATH");
  if (std::strchr(name, '/') != nullptr || directories == nullptr)
    return whyNotPreloaded(AT_FDCWD, name);
  const std::size_t nameLength = std::strlen(name);
  for (;; ++directories) {
    const std::size_t length = std::strcspn(directories, ":");
    std::array<char, PATH_MAX> path{};
    if (length + 1 + nameLength < path.size()) {
      char* end = std::copy_n(directories, length, path.data());
      if (length > 0) *end++ = '/';
      std::copy_n(name, nameLength, end);
      struct stat status {};
      if (stat(path.data(), &status) == 0 && S_ISREG(status.st_mode) &&
          access(path.data(), X_OK) == 0)
        return whyNotPreloaded(AT_FDCWD, path.data());
    }
    directories += length;
    if (*directories == '\0') return nullptr;
  }
}

void sayWithoutJvm(const char* program, const char* why) noexcept {
  const std::array<const char*, 5> texts{"zelvox exec: ", program, " ", why,
                                         " and runs without a JVM\n"};
  std::array<iovec, texts.size()> parts{};
  for (std::size_t i = 0; i < texts.size(); ++i)
    parts[i] = {const_cast<char*>(texts[i]), std::strlen(texts[i])};
  const ssize_t written = writev(STDERR_FILENO, parts.data(), static_cast<int>(parts.size()));
  static_cast<void>(written);
}
