#include "base/file_content.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <fstream>

#include "base/failure.h"
#include "base/start_directory.h"

std::string fileContent(const std::filesystem::path& file) {
  std::ifstream stream(fromStart(file), std::ios::binary);
  std::string content;
  std::array<char, 1 << 16> piece;
  while (stream.read(piece.data(), piece.size()) || stream.gcount() > 0)
    content.append(piece.data(), static_cast<std::size_t>(stream.gcount()));
  if (!stream.eof()) throw Failure("cannot read " + file.string() + ": " + std::strerror(errno));
  return content;
}
