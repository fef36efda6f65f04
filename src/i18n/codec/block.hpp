// Sixteen bytes at a time through SSE2, which every x86-64 processor has. Thread safety: pure functions.
#pragma once

#include <emmintrin.h>

namespace fl::i18n::detail {

inline __m128i load_block(const void* from) {
  return _mm_loadu_si128(static_cast<const __m128i*>(from));
}

inline void store_block(void* to, __m128i block) {
  _mm_storeu_si128(static_cast<__m128i*>(to), block);
}

}  // namespace fl::i18n::detail
