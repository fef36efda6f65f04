// The decoder of UTF-8, for all that reads it. Ill-formed subparts are those of i18n/convert.hpp.
//
// Two halves: the loops of utf8_run.hpp convert well-formed text while there is room for their steps, which read and
// write more than they convert; whatever is left, `decode_utf8` converts character by character, with all checks. A
// step converts up to eight characters of two or three bytes: all of its input is converted at once, and the number of
// characters at its start that are of the kind says how far to go on. So nothing branches on where a run ends. Only a
// lone character between ASCII has a short way of its own, which is quicker for text in Latin script.
//
// Thread safety: pure functions.
#pragma once

#include "codec/ascii_run.hpp"
#include "codec/block.hpp"
#include "codec/codec.hpp"
#include "codec/utf8_run.hpp"
#include "codec/utf_step.hpp"

#include <cstdint>
#include <cstring>

namespace fl::i18n::detail {

/// What stands at the start of some UTF-8.
struct utf8_sequence {
  enum class state { whole, cut, ill_formed };
  state is;
  std::size_t length;  ///< In bytes: of the character, or of what there is of it, or of the ill-formed subpart.
  code_point value;    ///< Of a whole one.
};

/// Whether `second` can follow `lead` in a well-formed sequence. Beyond the general range of trailing bytes, four leads
/// exclude overlong forms, surrogates and what lies above U+10FFFF.
constexpr bool is_second_byte(unsigned char lead, unsigned char second) {
  switch (lead) {
    case 0xE0:
      return second >= 0xA0 && second <= 0xBF;
    case 0xED:
      return second >= 0x80 && second <= 0x9F;
    case 0xF0:
      return second >= 0x90 && second <= 0xBF;
    case 0xF4:
      return second >= 0x80 && second <= 0x8F;
    default:
      return second >= 0x80 && second <= 0xBF;
  }
}

/// Bytes that follow `lead`; -1 if it is none.
constexpr int trailing_bytes(unsigned char lead) {
  if (lead < 0x80) {
    return 0;
  }
  if (lead < 0xC2 || lead > 0xF4) {
    return -1;
  }
  return lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : 3;
}

/// [from, end) is not empty.
inline utf8_sequence read_utf8(const char* from, const char* end) {
  const auto lead = static_cast<unsigned char>(*from);
  const int trailing = trailing_bytes(lead);
  if (trailing < 0) {
    return {utf8_sequence::state::ill_formed, 1, 0};
  }
  code_point value = trailing == 0 ? lead : lead & 0x3FU >> trailing;
  std::size_t length = 1;
  for (; length <= static_cast<std::size_t>(trailing); ++length) {
    if (from + length == end) {
      return {utf8_sequence::state::cut, length, 0};
    }
    const auto next = static_cast<unsigned char>(from[length]);
    if (!is_second_byte(length == 1 ? lead : 0, next)) {
      return {utf8_sequence::state::ill_formed, length, 0};
    }
    value = value << 6 | (next & 0x3F);
  }
  return {utf8_sequence::state::whole, length, value};
}

/// The four bytes at `from`, the first of them lowest.
inline std::uint32_t load_four(const char* from) {
  std::uint32_t bytes = 0;
  std::memcpy(&bytes, from, sizeof bytes);
  return bytes;
}

// The steps, see utf8_run.hpp. Each returns false if the next bytes are not a character of its kind.

/// Reads 16 bytes and writes 8 units.
inline bool convert_two_bytes(const char*& from, char16_t*& to) {
  if (is_ascii(from[2])) {
    const std::uint32_t bytes = load_four(from);
    *to = static_cast<char16_t>((bytes & 0x1F) << 6 | (bytes >> 8 & 0x3F));
    const bool good = (bytes & 0xC0E0) == 0x80C0 && *to >= 0x80;
    from += good ? 2 : 0;
    to += good ? 1 : 0;
    return good;
  }
  const __m128i pairs = load_block(from);
  const __m128i formed = _mm_cmpeq_epi16(_mm_and_si128(pairs, lanes16(0xC0E0)), lanes16(0x80C0));
  const __m128i overlong = _mm_cmpeq_epi16(_mm_and_si128(pairs, lanes16(0x001E)), _mm_setzero_si128());
  store_block(to, _mm_or_si128(_mm_slli_epi16(_mm_and_si128(pairs, lanes16(0x1F)), 6),
                               _mm_and_si128(_mm_srli_epi16(pairs, 8), lanes16(0x3F))));
  const int count = leading_lanes(_mm_andnot_si128(overlong, formed));
  from += std::ptrdiff_t{2} * count;
  to += count;
  return count != 0;
}

/// The four times three bytes at `from`, each in the low part of a 32-bit lane. Reads 14 bytes.
inline __m128i load_triples(const char* from) {
  const __m128i pairs = _mm_unpacklo_epi64(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(from)),
                                           _mm_loadl_epi64(reinterpret_cast<const __m128i*>(from + 6)));
  const __m128i first = _mm_set1_epi64x(0x0000'0000'00FF'FFFF);
  const __m128i second = _mm_set1_epi64x(0x00FF'FFFF'0000'0000);
  return _mm_or_si128(_mm_and_si128(pairs, first), _mm_and_si128(_mm_slli_epi64(pairs, 8), second));
}

/// The values of the triples, each sign-extended from 16 bits, so that it can be packed.
inline __m128i values_of_triples(__m128i triples) {
  const __m128i top = _mm_slli_epi32(triples, 28);
  const __m128i middle = _mm_and_si128(_mm_slli_epi32(triples, 14), _mm_set1_epi32(0x0FC0'0000));
  const __m128i bottom = _mm_and_si128(triples, _mm_set1_epi32(0x003F'0000));
  return _mm_srai_epi32(_mm_or_si128(_mm_or_si128(top, middle), bottom), 16);
}

inline __m128i formed_triples(__m128i triples) {
  return _mm_cmpeq_epi32(_mm_and_si128(triples, _mm_set1_epi32(0xC0C0F0)), _mm_set1_epi32(0x8080E0));
}

/// Reads 26 bytes and writes 8 units.
inline bool convert_three_bytes(const char*& from, char16_t*& to) {
  if (is_ascii(from[3])) {
    const std::uint32_t bytes = load_four(from);
    *to = static_cast<char16_t>((bytes & 0xF) << 12 | (bytes >> 2 & 0xFC0) | (bytes >> 16 & 0x3F));
    const bool good = (bytes & 0xC0C0F0) == 0x8080E0 && *to >= 0x800 && (*to & 0xF800) != 0xD800;
    from += good ? 3 : 0;
    to += good ? 1 : 0;
    return good;
  }
  const __m128i low = load_triples(from);
  const __m128i high = load_triples(from + 12);
  const __m128i values = _mm_packs_epi32(values_of_triples(low), values_of_triples(high));
  store_block(to, values);
  const __m128i formed = _mm_packs_epi32(formed_triples(low), formed_triples(high));
  const __m128i range = _mm_and_si128(values, lanes16(0xF800));
  const __m128i overlong = _mm_cmpeq_epi16(range, _mm_setzero_si128());
  const __m128i surrogate = _mm_cmpeq_epi16(range, lanes16(0xD800));
  const int count = leading_lanes(_mm_andnot_si128(_mm_or_si128(overlong, surrogate), formed));
  from += std::ptrdiff_t{3} * count;
  to += count;
  return count != 0;
}

inline bool convert_four_bytes(const char*& from, char16_t*& to) {
  const std::uint32_t bytes = load_four(from);
  const code_point value = (bytes & 0x7) << 18 | (bytes << 4 & 0x3F000) | (bytes >> 10 & 0xFC0) | (bytes >> 24 & 0x3F);
  if ((bytes & 0xC0C0C0F8) != 0x808080F0 || value < 0x10000 || value > 0x10FFFF) {
    return false;
  }
  to = utf16_traits::encode(value, to);
  from += 4;
  return true;
}

/// What stands at `from` is not ASCII.
[[gnu::always_inline]] inline bool convert_bytes(const char*& from, char16_t*& to) {
  const auto lead = static_cast<unsigned char>(*from);
  return lead < 0xE0   ? convert_two_bytes(from, to)
         : lead < 0xF0 ? convert_three_bytes(from, to)
                       : convert_four_bytes(from, to);
}

/// As `decoder::convert`.
inline stopped decode_utf8(const char*& from, const char* end, char16_t*& to, char16_t* to_end, bool last) {
  convert_well_formed<convert_bytes>(from, end, to, to_end);
  if (from != end) {
    convert_end<convert_bytes>(from, end, to, to_end);
  }
  for (;;) {
    copy_ascii(from, end, to, to_end);
    if (from == end) {
      return {};
    }
    const utf8_sequence next = read_utf8(from, end);
    if (next.is == utf8_sequence::state::cut && !last) {
      return {};
    }
    if (next.is != utf8_sequence::state::whole) {
      return {stop_reason::ill_formed, next.length};
    }
    if (to_end - to < utf16_traits::width(next.value)) {
      return {stop_reason::output_full};
    }
    to = utf16_traits::encode(next.value, to);
    from += next.length;
  }
}

}  // namespace fl::i18n::detail
