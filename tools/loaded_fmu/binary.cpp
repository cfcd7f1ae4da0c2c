#include "loaded_fmu/binary.h"

#include <dlfcn.h>
#include <elf.h>

#include <cstdint>
#include <fstream>
#include <string>

#include "ending/failure.h"
#include "words/text.h"

namespace fs = std::filesystem;

namespace {

// What stands there in the file; zeros behind its end.
template <class Entry>
Entry entryAt(std::istream& file, std::uint64_t offset) {
  Entry entry{};
  file.seekg(static_cast<std::streamoff>(offset));
  file.read(reinterpret_cast<char*>(&entry), sizeof entry);
  return entry;
}

// The names of the libraries that the dynamic loader has to find, and of the symbols.
std::string dynamicNames(const fs::path& binary) {
  std::ifstream file(binary, std::ios::binary);
  const auto header = entryAt<Elf64_Ehdr>(file, 0);
  std::vector<Elf64_Phdr> segments;
  for (std::uint64_t i = 0; i < header.e_phnum; ++i)
    segments.push_back(entryAt<Elf64_Phdr>(file, header.e_phoff + i * sizeof(Elf64_Phdr)));
  std::uint64_t address = 0, size = 0;
  const auto dynamic = std::ranges::find(segments, PT_DYNAMIC, &Elf64_Phdr::p_type);
  for (std::uint64_t i = 0; dynamic != segments.end() && file; ++i) {
    const auto entry = entryAt<Elf64_Dyn>(file, dynamic->p_offset + i * sizeof(Elf64_Dyn));
    if (entry.d_tag == DT_NULL) break;
    if (entry.d_tag == DT_STRTAB) address = entry.d_un.d_ptr;
    if (entry.d_tag == DT_STRSZ) size = entry.d_un.d_val;
  }
  for (const Elf64_Phdr& segment : segments) {
    const std::uint64_t inside = address - segment.p_vaddr;
    if (segment.p_type != PT_LOAD || inside >= segment.p_filesz) continue;
    std::string names(std::min(size, fs::file_size(binary)), '\0');
    file.seekg(static_cast<std::streamoff>(segment.p_offset + inside));
    file.read(names.data(), static_cast<std::streamsize>(names.size()));
    return names;
  }
  return {};
}

}  // namespace

fs::path fmuBinary(const fs::path& directory, const ModelDescription& model) {
  const fs::path binary = directory / "binaries/linux64" / (model.modelIdentifier + ".so");
  std::error_code error;  // of a name that is too long
  if (model.modelIdentifier.find('/') == std::string::npos && fs::is_regular_file(binary, error))
    return binary;
  throw Failure("the FMU has no binary for 64-bit Linux, expected binaries/linux64/" +
                printable(model.modelIdentifier) + ".so in it");
}

bool needsJvm(const fs::path& binary) {
  using namespace std::string_view_literals;
  const std::string names = dynamicNames(binary);
  return names.find("libjvm.so\0"sv) != names.npos ||
         names.find("JNI_GetCreatedJavaVMs\0"sv) != names.npos;
}

void* loadBinary(const fs::path& binary) {
  void* const library = dlopen(binary.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr)
    throw Failure("the FMU's binary cannot be loaded: " + std::string(dlerror()));
  return library;
}

void* functionOf(void* library, const char* name) {
  void* const address = dlsym(library, name);
  if (address == nullptr) throw Failure("the FMU's binary has no function " + std::string(name));
  return address;
}
