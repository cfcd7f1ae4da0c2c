#include "packer/identity.h"

#include <uuid/uuid.h>

#include <array>
#include <string_view>

#include "ending/failure.h"
#include "files/file_content.h"
#include "words/text.h"

namespace fs = std::filesystem;

namespace {

// The GUID in the library, where it has a section of its own; also the namespace of all GUIDs that
// are made here.
constexpr std::string_view libraryGuid = "{6F1C2D3A-8B4E-4F70-9A1D-2E5B7C9D0F13}";

// Of C23, but for those that no name of a model becomes because they begin with an underscore.
constexpr std::string_view keywords =
    " alignas alignof auto bool break case char const constexpr continue default do double else "
    "enum "
    "extern false float for goto if inline int long nullptr register restrict return short signed "
    "sizeof static static_assert struct switch thread_local true typedef typeof typeof_unqual "
    "union "
    "unsigned void volatile while ";

// Names follow one another, each in the namespace that the one before makes: so no two sequences
// give the same UUID because they read alike when written in a row.
class NameBasedUuid {
 public:
  NameBasedUuid() { uuid_parse(std::string(libraryGuid.substr(1, 36)).c_str(), uuid); }

  void add(std::string_view name) { uuid_generate_sha1(uuid, uuid, name.data(), name.size()); }

  std::string text() const {
    std::array<char, UUID_STR_LEN> text;
    uuid_unparse_upper(uuid, text.data());
    return text.data();
  }

 private:
  uuid_t uuid;
};

}  // namespace

std::string modelIdentifierOf(const std::string& modelName) {
  constexpr std::size_t longest = 63;  // what C tells apart
  std::string identifier;
  bool gap = false, lost = false;
  for (const char c : modelName) {
    const bool kept = isIdentifier(std::string("_") + c);  // also a digit, as none comes first here
    if (kept && gap && !identifier.empty()) identifier += '_';
    if (kept) identifier += c;
    gap = !kept;
    lost = lost || static_cast<unsigned char>(c) >= 0x80;
  }
  if (!isIdentifier(identifier) || keywords.find(" " + identifier + " ") != keywords.npos) {
    identifier.insert(0, identifier.empty() ? "model" : "model_");
  }
  if (!lost && identifier.size() <= longest) return identifier;
  NameBasedUuid name;
  name.add(modelName);
  const std::string mark = "_" + name.text().substr(0, 8);
  return identifier.substr(0, longest - mark.size()) + mark;
}

std::string guidOf(const std::vector<ArchiveEntry>& entries) {
  NameBasedUuid uuid;
  for (const ArchiveEntry& entry : entries) {
    if (entry.source.empty()) {
      uuid.add(entry.text);
    } else {
      readPieces(entry.source, [&](std::string_view piece) { uuid.add(piece); });
    }
  }
  return "{" + uuid.text() + "}";
}

std::string libraryWithGuid(const fs::path& library, const std::string& guid) {
  std::string content = fileContent(library);
  const std::size_t place = content.find(libraryGuid);
  if (place == content.npos || content.find(libraryGuid, place + 1) != content.npos) {
    throw Failure(library.string() +
                  " does not hold its GUID exactly once, so that no FMU can get " +
                  "one of its own; install zelvox again");
  }
  return content.replace(place, libraryGuid.size(), guid);
}
