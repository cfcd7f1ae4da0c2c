#include "checker/structured_name.h"

#include <algorithm>

namespace {

constexpr std::string_view digits = "0123456789";
constexpr std::string_view letters = "_abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ";
constexpr std::string_view quotable = "!#$%&()*+,-./:;<>=?@[]^{}|~ ";
constexpr std::string_view escapable = "'\"?\\abfnrtv";

bool isIn(std::string_view set, char c) {
  return set.find(c) != set.npos;
}

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
    if (rest.empty() || !isIn(letters, rest.front())) return false;
    while (!rest.empty() && (isIn(letters, rest.front()) || isIn(digits, rest.front())))
      rest.remove_prefix(1);
    return true;
  }

  // Behind the first quotation mark.
  bool quoted() {
    bool empty = true;
    for (; !text("'"); empty = false) {
      const bool escaped = text("\\");
      if (rest.empty()) return false;
      const char c = rest.front();
      if (!(escaped ? isIn(escapable, c)
                    : isIn(letters, c) || isIn(digits, c) || isIn(quotable, c)))
        return false;
      rest.remove_prefix(1);
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
    const std::size_t end = std::min(rest.find_first_not_of(digits), rest.size());
    rest.remove_prefix(end);
    return end > 0;
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
