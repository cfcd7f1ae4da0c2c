#include "files/file_content.h"

#include <cerrno>
#include <cstring>
#include <fstream>

#include "ending/failure.h"
#include "files/start_directory.h"

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
