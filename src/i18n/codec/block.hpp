// Sixteen bytes at a time through SSE2, which every x86-64 processor has. Thread safety: pure functions.
#pragma once

#include <emmintrin.h>

#include <bit>

namespace fl::i18n::detail {

inline __m128i load_block(const void* from) {
  return _mm_loadu_si128(static_cast<const __m128i*>(from));
}

inline void store_block(void* to, __m128i block) {
  _mm_storeu_si128(static_cast<__m128i*>(to), block);
}

/// Eight 16-bit lanes of the value.
inline __m128i lanes16(int value) {
  return _mm_set1_epi16(static_cast<short>(value));
}

/// How many of the eight 16-bit lanes have all bits set before the first that has not.
inline int leading_lanes(__m128i lanes) {
  const auto mask = static_cast<unsigned>(_mm_movemask_epi8(lanes));
  // Within a long run the branch lets the processor go on before it knows the mask.
  return mask == 0xFFFF ? 8 : std::countr_one(mask) / 2;
}

}  // namespace fl::i18n::detail
