#include "files/file_content.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>

#include "ending/failure.h"
#include "files/at_start.h"

void readPieces(const std::filesystem::path& file,
                const std::function<void(std::string_view)>& use) {
  std::ifstream stream(fromStart(file), std::ios::binary);
  std::string piece(std::size_t{1} << 20, '\0');
  do {
    stream.read(piece.data(), static_cast<std::streamsize>(piece.size()));
    use({piece.data(), static_cast<std::size_t>(stream.gcount())});
  } while (stream);
  if (!stream.eof()) throw Failure("cannot read " + file.string() + ": " + std::strerror(errno));
}

std::string fileContent(const std::filesystem::path& file) {
  std::string content;
  readPieces(file, [&](std::string_view piece) { content += piece; });
  return content;
}

bool writeAll(int descriptor, std::string_view bytes) noexcept {
  while (!bytes.empty()) {
    const ssize_t length = write(descriptor, bytes.data(), bytes.size());
    if (length < 0 && errno != EINTR) return false;
    bytes.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(length, 0)));
  }
  return true;
}
