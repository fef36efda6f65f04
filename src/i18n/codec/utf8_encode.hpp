// The encoder of UTF-8, for all that writes it; made like the decoder, see utf8_decode.hpp.
//
// Thread safety: pure functions.
#pragma once

#include "codec/ascii_run.hpp"
#include "codec/block.hpp"
#include "codec/codec.hpp"
#include "codec/utf8_run.hpp"
#include "codec/utf_step.hpp"

namespace fl::i18n::detail {

/// Eight units of U+0080 to U+07FF as pairs of bytes.
inline __m128i pairs_of(__m128i units) {
  const __m128i leads = _mm_srli_epi16(units, 6);
  const __m128i trails = _mm_slli_epi16(_mm_and_si128(units, lanes16(0x3F)), 8);
  return _mm_or_si128(_mm_or_si128(leads, trails), lanes16(0x80C0));
}

/// Writes four units of U+0800 to U+FFFF, each in a 32-bit lane, as three bytes each. Writes 14 bytes.
inline void store_triples(char* to, __m128i units) {
  const __m128i leads = _mm_srli_epi32(units, 12);
  const __m128i seconds = _mm_and_si128(_mm_slli_epi32(units, 2), _mm_set1_epi32(0x3F00));
  const __m128i thirds = _mm_and_si128(_mm_slli_epi32(units, 16), _mm_set1_epi32(0x3F'0000));
  const __m128i triples = _mm_or_si128(_mm_or_si128(leads, seconds), _mm_or_si128(thirds, _mm_set1_epi32(0x80'80E0)));
  // Two triples of each 64-bit lane close up.
  const __m128i first = _mm_set1_epi64x(0x0000'0000'FFFF'FFFF);
  const __m128i sixes =
      _mm_or_si128(_mm_and_si128(triples, first), _mm_srli_epi64(_mm_andnot_si128(first, triples), 8));
  _mm_storel_epi64(reinterpret_cast<__m128i*>(to), sixes);
  _mm_storel_epi64(reinterpret_cast<__m128i*>(to + 6), _mm_unpackhi_epi64(sixes, sixes));
}

// The steps, as those of the decoder.

/// Reads 8 units and writes 16 bytes.
inline bool convert_two_byte_units(const char16_t*& from, char*& to) {
  if (is_ascii(from[1])) {
    *to++ = static_cast<char>(0xC0 | *from >> 6);
    *to++ = static_cast<char>(0x80 | (*from & 0x3F));
    ++from;
    return true;
  }
  const __m128i units = load_block(from);
  const __m128i zero = _mm_setzero_si128();
  const __m128i below = _mm_cmpeq_epi16(_mm_and_si128(units, lanes16(0xF800)), zero);
  const __m128i ascii = _mm_cmpeq_epi16(_mm_and_si128(units, lanes16(0xFF80)), zero);
  store_block(to, pairs_of(units));
  const int count = leading_lanes(_mm_andnot_si128(ascii, below));
  from += count;
  to += std::ptrdiff_t{2} * count;
  return true;
}

/// Reads 8 units and writes 26 bytes.
inline bool convert_three_byte_units(const char16_t*& from, char*& to) {
  if (is_ascii(from[1])) {
    *to++ = static_cast<char>(0xE0 | *from >> 12);
    *to++ = static_cast<char>(0x80 | (*from >> 6 & 0x3F));
    *to++ = static_cast<char>(0x80 | (*from & 0x3F));
    ++from;
    return true;
  }
  const __m128i units = load_block(from);
  const __m128i zero = _mm_setzero_si128();
  const __m128i range = _mm_and_si128(units, lanes16(0xF800));
  const __m128i others = _mm_or_si128(_mm_cmpeq_epi16(range, zero), _mm_cmpeq_epi16(range, lanes16(0xD800)));
  store_triples(to, _mm_unpacklo_epi16(units, zero));
  store_triples(to + 12, _mm_unpackhi_epi16(units, zero));
  const int count = leading_lanes(_mm_cmpeq_epi16(others, zero));
  from += count;
  to += std::ptrdiff_t{3} * count;
  return true;
}

inline bool convert_pair(const char16_t*& from, char*& to) {
  if (!utf16_traits::is_first_surrogate(from[0]) || !utf16_traits::is_second_surrogate(from[1])) {
    return false;
  }
  to = utf8_traits::encode(utf16_traits::combine_surrogate(from[0], from[1]), to);
  from += 2;
  return true;
}

/// What stands at `from` is not ASCII.
[[gnu::always_inline]] inline bool convert_units(const char16_t*& from, char*& to) {
  return *from < 0x800                            ? convert_two_byte_units(from, to)
         : utf16_traits::trail_length(*from) == 0 ? convert_three_byte_units(from, to)
                                                  : convert_pair(from, to);
}

/// As `encoder::convert`.
inline stopped encode_utf8(const char16_t*& from, const char16_t* end, char*& to, char* to_end, bool last) {
  convert_well_formed<convert_units>(from, end, to, to_end);
  if (from != end) {
    convert_end<convert_units>(from, end, to, to_end);
  }
  for (;;) {
    copy_ascii(from, end, to, to_end);
    if (from == end) {
      return {};
    }
    const utf16_character next = read_utf16(from, end);
    if (next.length == 0) {
      return next.cut && !last ? stopped{} : stopped{stop_reason::ill_formed, 1};
    }
    if (to_end - to < utf8_traits::width(next.value)) {
      return {stop_reason::output_full};
    }
    to = utf8_traits::encode(next.value, to);
    from += next.length;
  }
}

}  // namespace fl::i18n::detail
