#include "base/file_content.h"

#include <fstream>
#include <iterator>

#include "base/failure.h"

std::string fileContent(const std::filesystem::path& file) {
  std::ifstream stream(file, std::ios::binary);
  std::string content{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
  if (!stream.is_open() || stream.bad()) throw Failure(file.string() + " cannot be read");
  return content;
}
