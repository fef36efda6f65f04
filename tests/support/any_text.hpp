// Random texts for tests of conversions. Runs everywhere.
#pragma once

#include "seeded_random.hpp"

#include <algorithm>
#include <string>
#include <utility>

namespace test_support {

inline std::u16string units_of(char32_t value) {
  if (value < 0x10000) {
    return {static_cast<char16_t>(value)};
  }
  return {static_cast<char16_t>(0xD7C0 + (value >> 10)), static_cast<char16_t>(0xDC00 + (value & 0x3FF))};
}

/// Runs of one kind of characters each, up to more than is converted at once: of each length in UTF-8, Latin letters,
/// what East Asian encodings have, and surrogates without any order.
inline std::u16string any_text(seeded_random& random) {
  constexpr std::pair<char32_t, char32_t> kinds[] = {{0x0, 0x7F},      {0x61, 0x7A},       {0x80, 0x7FF},
                                                     {0xA0, 0xFF},     {0x800, 0xFFFF},    {0x3041, 0x9FA0},
                                                     {0xD800, 0xDFFF}, {0x10000, 0x10FFFF}};
  std::u16string text;
  for (std::uint64_t runs = random.below(8); runs != 0; --runs) {
    const auto [first, last] = random.pick(kinds);
    for (std::uint64_t length = random.below(random.chance(2) ? 3000 : 70); length != 0; --length) {
      text += units_of(static_cast<char32_t>(random.between(first, last)));
    }
  }
  return text;
}

/// With bytes put in, changed and taken out here and there, and perhaps half a character at the end. Bytes at the ends
/// of what encodings use come often.
inline std::string spoiled(std::string bytes, seeded_random& random) {
  constexpr unsigned char edges[] = {0x30, 0x7F, 0x80, 0x81, 0x8E, 0x8F, 0x9F, 0xA0, 0xA1, 0xBF, 0xC1, 0xC2,
                                     0xE0, 0xE1, 0xED, 0xEE, 0xF0, 0xF1, 0xF3, 0xF4, 0xF5, 0xFE, 0xFF};
  for (std::size_t at = random.below(100); at < bytes.size(); at += 1 + random.below(60)) {
    const auto byte = static_cast<char>(random.chance(50) ? random.pick(edges) : random.bits());
    bytes.replace(at, random.below(3), random.below(3), byte);
  }
  bytes.resize(bytes.size() - std::min<std::size_t>(bytes.size(), random.below(4)));
  return bytes;
}

}  // namespace test_support
