// Matching of channel names. Pure.

#include "pattern.hpp"

namespace foundation::log {

bool matches(std::string_view pattern, std::string_view name) noexcept {
  constexpr auto none = std::string_view::npos;
  std::size_t p = 0, n = 0;
  std::size_t star = none;  // The last "*" passed,
  std::size_t resume = 0;   // and where in the name the text behind it was last tried.
  while (n < name.size()) {
    if (p < pattern.size() && pattern[p] == '*') {
      star = p++;
      resume = n;
    } else if (p < pattern.size() && pattern[p] == name[n]) {
      ++p;
      ++n;
    } else if (star != none) {
      // Only the last "*" needs to grow: an earlier one that took more would leave less for the rest, not more.
      p = star + 1;
      n = ++resume;
    } else {
      return false;
    }
  }
  while (p < pattern.size() && pattern[p] == '*') {
    ++p;
  }
  return p == pattern.size();
}

}  // namespace foundation::log
