// The search for one unit in a block. SSE2 is part of every x86-64 processor, so nothing is asked of the processor
// here.
#pragma once

#include <emmintrin.h>

#include <algorithm>

namespace cpp11compat {

/// The first place of `unit` in [`first`, `last`), or `last`.
inline const char16_t* find_unit(const char16_t* first, const char16_t* last, char16_t unit) {
  constexpr std::ptrdiff_t step = sizeof(__m128i) / sizeof(char16_t);
  const __m128i wanted = _mm_set1_epi16(static_cast<short>(unit));
  for (; last - first >= step; first += step) {
    const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(first));
    const auto found = static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi16(block, wanted)));
    if (found != 0) {
      return first + __builtin_ctz(found) / static_cast<int>(sizeof(char16_t));
    }
  }
  return std::find(first, last, unit);
}

}  // namespace cpp11compat
