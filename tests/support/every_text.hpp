// All short texts, for rules that are checked against an obvious reference.
#pragma once

#include <cstddef>
#include <string>

namespace test_support {

/// Calls `check` with `start` followed by every text of 1 to `longest` characters of `alphabet`.
template <class Check>
void for_each_text(const std::string& alphabet, std::size_t longest, const Check& check,
                   const std::string& start = {}) {
  for (const char c : longest == 0 ? std::string() : alphabet) {
    check(start + c);
    for_each_text(alphabet, longest - 1, check, start + c);
  }
}

}  // namespace test_support
