// What an FMU says and which functions are called, line by line in a file. Each line is in the file
// when write() returns, whatever ends the process then: it is no SafeFile.
#pragma once

#include <atomic>
#include <filesystem>
#include <string>

class LogFile {
 public:
  // Empties the file. Throws Failure when it cannot be written.
  explicit LogFile(const std::filesystem::path& file);
  ~LogFile();
  LogFile(const LogFile&) = delete;
  LogFile& operator=(const LogFile&) = delete;

  // From any thread. A line that cannot be written is lost, since it may come from within an FMU,
  // through which nothing may be thrown.
  void write(const std::string& line) noexcept;
  // Throws Failure when a line was lost.
  void requireWhole() const;

 private:
  std::filesystem::path path;
  int descriptor;
  std::atomic<int> problem = 0;  // why the first line was lost
};
