// A file that appears whole or not at all. It is written beside its target, as NAME.part-XXXXXX,
// and renamed over it at the end, so that nobody ever sees half of it and two programs at once
// leave the file of one of them. A symbolic link stays one and its target is replaced; owner and
// permissions of a file that exists stay too. What is no plain file (a FIFO, a device, /dev/stdout)
// cannot be replaced and is written directly; when nobody reads there any more, that is a failure
// and no silent end by SIGPIPE.
#pragma once

#include <sys/stat.h>

#include <filesystem>
#include <functional>
#include <string>
#include <string_view>

#include "ending/interrupts.h"

// Where the bytes for a target go, behind all symbolic links, wherever the process goes.
struct Destination {
  // Throws Failure for a chain of links without an end.
  explicit Destination(const std::filesystem::path& target);
  // What the process has open.
  explicit Destination(int open) : direct(true), descriptor(open) {}

  // A new descriptor of what cannot be replaced, or of a file that need not appear whole, emptied;
  // -1 when it cannot be opened (errno). From then on writing to what nobody reads any more is an
  // error, and no silent end by SIGPIPE.
  int openDirectly(int flags) const;

  std::filesystem::path path;
  bool exists = false;
  bool direct = false;    // cannot be replaced
  int descriptor = -1;    // of this process, when the target names one (/dev/stdout), else -1
  struct stat status {};  // when it exists
};

class SafeFile {
 public:
  // Throws Failure when the target cannot be written, as do the others. The target stays as it is.
  explicit SafeFile(const std::filesystem::path& target);
  // Of what the process has open, which it owns from then on; `name` is for messages.
  SafeFile(const std::string& name, int open);
  // Without commit() nothing of the file remains.
  ~SafeFile();
  SafeFile(const SafeFile&) = delete;
  SafeFile& operator=(const SafeFile&) = delete;

  // Appends all of the bytes, or none of them.
  void write(std::string_view bytes);
  // Throws Failure when nobody reads any more what is written directly, so that nobody works for
  // nothing until there is something to write.
  void requireReader() const;
  // For content that something else writes to a path, which it may also replace.
  void writeWith(const std::function<void(const std::filesystem::path&)>& make);
  // What was written becomes the target. When that fails, it stays in the part, which the Failure
  // names.
  void commit();

  bool isTerminal() const;

 private:
  [[noreturn]] void fail(const std::string& reason) const;
  [[noreturn]] void failWithoutReader() const;
  // Also what libzip may be making beside the part before it replaces it. Gives an empty text.
  std::string removeParts() const;

  std::filesystem::path target;  // as the user named it
  Destination destination;
  std::filesystem::path part;  // empty when there is none (any more)
  int descriptor = -1;
  AtForcedEnd removal{[this] { return removeParts(); }};
};
