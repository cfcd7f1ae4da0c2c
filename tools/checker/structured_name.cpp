#include "checker/structured_name.h"

namespace {

constexpr std::string_view digits = "0123456789";
constexpr std::string_view letters = "_abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ";
constexpr std::string_view quotable = "!#$%&()*+,-./:;<>=?@[]^{}|~ ";
constexpr std::string_view escapable = "'\"?\\abfnrtv";

// Each function takes what it is called after from the front, and says whether it was there.
class Name {
 public:
  explicit Name(std::string_view text) : rest(text) {}

  bool whole() {
    if (!text("der(")) return identifier() && rest.empty();
    return identifier() && (!text(",") || number()) && text(")") && rest.empty();
  }

 private:
  bool identifier() {
    do {
      if (!(text("'") ? quoted() : plain()) || (text("[") && !indexes())) return false;
    } while (text("."));
    return true;
  }

  bool plain() {
    if (!oneOf(letters)) return false;
    while (oneOf(letters) || oneOf(digits)) continue;
    return true;
  }

  // Behind the first quotation mark.
  bool quoted() {
    bool empty = true;
    for (; !text("'"); empty = false) {
      const bool right =
          text("\\") ? oneOf(escapable) : oneOf(letters) || oneOf(digits) || oneOf(quotable);
      if (!right) return false;
    }
    return !empty;
  }

  // Behind the bracket.
  bool indexes() {
    do {
      if (!number()) return false;
    } while (text(","));
    return text("]");
  }

  bool number() {
    if (!oneOf(digits)) return false;
    while (oneOf(digits)) continue;
    return true;
  }

  bool oneOf(std::string_view set) {
    return !rest.empty() && set.find(rest.front()) != set.npos && text(rest.substr(0, 1));
  }

  bool text(std::string_view wanted) {
    if (!rest.starts_with(wanted)) return false;
    rest.remove_prefix(wanted.size());
    return true;
  }

  std::string_view rest;
};

}  // namespace

bool isStructuredName(std::string_view name) {
  return Name(name).whole();
}
