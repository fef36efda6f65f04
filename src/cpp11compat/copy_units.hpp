// The copy of a few units: a call of the run-time's memcpy takes longer than the copying.
#pragma once

#include <cstddef>
#include <cstring>

namespace cpp11compat {

/// Copies blocks of `Units` units to the begin and to the end, which overlap where `count` is below twice that.
template <std::size_t Units>
void copy_both_ends(char16_t* to, const char16_t* from, std::size_t count) {
  char16_t front[Units];
  char16_t back[Units];
  std::memcpy(front, from, sizeof front);
  std::memcpy(back, from + count - Units, sizeof back);
  std::memcpy(to, front, sizeof front);
  std::memcpy(to + count - Units, back, sizeof back);
}

/// Copies `count` units, which is not 0, between places that do not overlap.
inline void copy_units(char16_t* to, const char16_t* from, std::size_t count) {
  if (count > 16) {
    std::memcpy(to, from, count * sizeof(char16_t));
  } else if (count >= 8) {
    copy_both_ends<8>(to, from, count);
  } else if (count >= 4) {
    copy_both_ends<4>(to, from, count);
  } else {
    to[0] = from[0];
    to[count / 2] = from[count / 2];
    to[count - 1] = from[count - 1];
  }
}

}  // namespace cpp11compat
