// Slow and obvious conversions of the Unicode encodings, the oracles of the quick ones. Runs everywhere.
#pragma once

#include "any_text.hpp"

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace test_support {

/// What a text begins with.
struct first_character {
  std::size_t used;               ///< units, at least 1
  std::optional<char32_t> point;  ///< nothing if these units are ill-formed
};

/// Of UTF-8, where what is ill-formed is a maximal subpart.
inline first_character first_of_utf8(std::string_view bytes) {
  using byte_range = std::pair<unsigned char, unsigned char>;
  constexpr byte_range trail{0x80, 0xBF};
  /// The well-formed sequences, as the standard lists them: the range of each byte.
  static const std::vector<byte_range> sequences[] = {{{0x00, 0x7F}},
                                                      {{0xC2, 0xDF}, trail},
                                                      {{0xE0, 0xE0}, {0xA0, 0xBF}, trail},
                                                      {{0xE1, 0xEC}, trail, trail},
                                                      {{0xED, 0xED}, {0x80, 0x9F}, trail},
                                                      {{0xEE, 0xEF}, trail, trail},
                                                      {{0xF0, 0xF0}, {0x90, 0xBF}, trail, trail},
                                                      {{0xF1, 0xF3}, trail, trail, trail},
                                                      {{0xF4, 0xF4}, {0x80, 0x8F}, trail, trail}};
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(bytes[i]); };
  first_character first{1, std::nullopt};
  for (const std::vector<byte_range>& ranges : sequences) {
    std::size_t same = 0;
    while (same != std::min(ranges.size(), bytes.size()) && byte(same) >= ranges[same].first &&
           byte(same) <= ranges[same].second) {
      ++same;
    }
    first.used = std::max(first.used, same);
    if (same == ranges.size()) {
      char32_t point = same == 1 ? byte(0) : byte(0) & 0x7FU >> same;
      for (std::size_t i = 1; i != same; ++i) {
        point = point << 6 | (byte(i) & 0x3F);
      }
      first.point = point;
    }
  }
  return first;
}

/// Of UTF-8, with `replacement` for what is ill-formed.
inline std::u16string reference_decode(std::string_view bytes, char16_t replacement = 0xFFFD) {
  std::u16string result;
  while (!bytes.empty()) {
    const first_character first = first_of_utf8(bytes);
    result += units_of(first.point.value_or(replacement));
    bytes.remove_prefix(first.used);
  }
  return result;
}

/// A lone surrogate is a code point here.
inline std::u32string points_of(const std::u16string& text) {
  std::u32string points;
  for (const char16_t unit : text) {
    const bool ends_pair = unit >> 10 == 0x37 && !points.empty() && points.back() >> 10 == 0x36;
    if (ends_pair) {
      points.back() = 0x10000 + ((points.back() & 0x3FF) << 10 | (unit & 0x3FF));
    } else {
      points += unit;
    }
  }
  return points;
}

template <class Unit>
std::string bytes_of(const std::basic_string<Unit>& text, bool is_big) {
  std::string bytes(reinterpret_cast<const char*>(text.data()), text.size() * sizeof(Unit));
  for (auto at = bytes.begin(); is_big && at != bytes.end(); at += sizeof(Unit)) {
    std::reverse(at, at + sizeof(Unit));
  }
  return bytes;
}

}  // namespace test_support
