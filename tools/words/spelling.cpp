#include "words/spelling.h"

#include <algorithm>
#include <cctype>
#include <iterator>
#include <limits>
#include <numeric>

namespace {

// How many characters have to be inserted, deleted, replaced or swapped with their neighbour to
// make one name of the other; a wrong capital letter costs nothing, so that it is found first.
std::size_t distance(std::string_view a, std::string_view b) {
  const auto same = [](char x, char y) {
    return std::tolower(static_cast<unsigned char>(x)) ==
           std::tolower(static_cast<unsigned char>(y));
  };
  std::vector<std::size_t> beforeLast(b.size() + 1), last(b.size() + 1), current(b.size() + 1);
  std::iota(current.begin(), current.end(), std::size_t{0});
  for (std::size_t i = 1; i <= a.size(); ++i) {
    beforeLast.swap(last);
    last.swap(current);
    current[0] = i;
    for (std::size_t j = 1; j <= b.size(); ++j) {
      const std::size_t replaced = last[j - 1] + (same(a[i - 1], b[j - 1]) ? 0 : 1);
      current[j] = std::min({replaced, last[j] + 1, current[j - 1] + 1});
      if (i > 1 && j > 1 && same(a[i - 1], b[j - 2]) && same(a[i - 2], b[j - 1]))
        current[j] = std::min(current[j], beforeLast[j - 2] + 1);
    }
  }
  return current[b.size()];
}

}  // namespace

std::string_view closestName(std::string_view written, const std::vector<std::string_view>& names) {
  // Who writes the beginning of a name means that name, if it is of one only.
  constexpr std::size_t shortest = 3;
  std::vector<std::string_view> begun;
  std::ranges::copy_if(names, std::back_inserter(begun), [written](std::string_view name) {
    return written.size() >= shortest && name.starts_with(written);
  });
  if (begun.size() == 1) return begun.front();
  std::string_view best;
  std::size_t smallest = std::numeric_limits<std::size_t>::max();
  for (const std::string_view name : names) {
    const std::size_t longer = std::max(written.size(), name.size());
    const std::size_t shorter = std::min(written.size(), name.size());
    if (shorter < longer - longer / 2) continue;
    const std::size_t far = distance(written, name);
    if (far < smallest && 2 * far <= longer) {
      smallest = far;
      best = name;
    }
  }
  return best;
}
