// ASCII between bytes and UTF-16 units, sixteen characters at a time through SSE2, which every x86-64 processor has,
// and the loop that goes from one run of ASCII to the next.
//
// Thread safety: pure functions.
#pragma once

#include "codec/block.hpp"

#include <bit>
#include <cstddef>

namespace fl::i18n::detail {

constexpr std::size_t ascii_block = 16;  ///< in characters

inline bool is_ascii(char byte) {
  return static_cast<unsigned char>(byte) < 0x80;
}
inline bool is_ascii(char16_t unit) {
  return unit < 0x80;
}

/// The shorter of two distances.
template <class A, class B>
std::size_t room(const A* a, const A* a_end, const B* b, const B* b_end) {
  const auto first = static_cast<std::size_t>(a_end - a);
  const auto second = static_cast<std::size_t>(b_end - b);
  return first < second ? first : second;
}

/// Reads a block, writes a block and returns which of its characters are not ASCII, one bit each; what was written from
/// the first of them on is of no use.
inline unsigned copy_ascii_block(const char* from, char16_t* to) {
  const __m128i bytes = load_block(from);
  const __m128i zero = _mm_setzero_si128();
  store_block(to, _mm_unpacklo_epi8(bytes, zero));
  store_block(to + ascii_block / 2, _mm_unpackhi_epi8(bytes, zero));
  return static_cast<unsigned>(_mm_movemask_epi8(bytes));
}

inline unsigned copy_ascii_block(const char16_t* from, char* to) {
  const __m128i low = load_block(from);
  const __m128i high = load_block(from + ascii_block / 2);
  store_block(to, _mm_packus_epi16(low, high));
  const __m128i limit = _mm_set1_epi16(0x7F);
  const __m128i zero = _mm_setzero_si128();
  const __m128i ascii = _mm_packs_epi16(_mm_cmpeq_epi16(_mm_subs_epu16(low, limit), zero),
                                        _mm_cmpeq_epi16(_mm_subs_epu16(high, limit), zero));
  return static_cast<unsigned>(_mm_movemask_epi8(ascii)) ^ 0xFFFF;
}

/// Copies ASCII by blocks, as many as follow each other, and moves both positions behind them. At least one block must
/// have been copied before: the last few characters go in a block that begins within what is copied already.
template <class Out, class In>
void copy_ascii_blocks(const In*& from, const In* end, Out*& to, const Out* to_end) {
  const std::size_t most = room(from, end, to, to_end);
  const In* const last = from + most / ascii_block * ascii_block;
  for (; from != last; from += ascii_block, to += ascii_block) {
    if (copy_ascii_block(from, to) != 0) {
      return;
    }
  }
  const std::size_t left = most % ascii_block;
  const std::size_t back = ascii_block - left;
  if (left != 0 && copy_ascii_block(from - back, to - back) == 0) {
    from += left;
    to += left;
  }
}

/// The same where nothing has been copied before.
template <class Out, class In>
void copy_leading_ascii(const In*& from, const In* end, Out*& to, const Out* to_end) {
  if (room(from, end, to, to_end) >= ascii_block && copy_ascii_block(from, to) == 0) {
    from += ascii_block;
    to += ascii_block;
    copy_ascii_blocks(from, end, to, to_end);
  }
}

/// Converts while `InRoom` and `OutRoom` units are left: runs of ASCII here, if `with_ascii`, and what is between them
/// by `step(from, to)`, which converts one character or more and moves both positions behind them, or returns false,
/// which ends it. The rooms hold a block of ASCII, or one that ends early and what a step reads or writes behind it.
template <std::size_t InRoom, std::size_t OutRoom, class Out, class In, class WithAscii, class Step>
void convert_quickly(const In*& from_place, const In* end, Out*& to_place, const Out* to_end, WithAscii with_ascii,
                     Step step) {
  // Copies: the compiler must assume that a store of a `char` changes the caller's pointers.
  const In* from = from_place;
  Out* to = to_place;
  bool going = true;
  while (going && static_cast<std::size_t>(end - from) >= InRoom && static_cast<std::size_t>(to_end - to) >= OutRoom) {
    if (with_ascii && is_ascii(*from)) {
      const unsigned others = copy_ascii_block(from, to);
      if (others == 0) {
        from += ascii_block;
        to += ascii_block;
        copy_ascii_blocks(from, end, to, to_end);
        continue;
      }
      const int count = std::countr_zero(others);
      from += count;
      to += count;
    }
    going = step(from, to);
  }
  from_place = from;
  to_place = to;
}

/// Copies the ASCII characters at `from`, as many as fit, and moves both positions behind them.
template <class Out, class In>
void copy_ascii(const In*& from_place, const In* end, Out*& to_place, const Out* to_end) {
  const In* from = from_place;
  Out* to = to_place;
  copy_leading_ascii(from, end, to, to_end);
  while (from != end && to != to_end && is_ascii(*from)) {
    *to++ = static_cast<Out>(*from++);
  }
  from_place = from;
  to_place = to;
}

}  // namespace fl::i18n::detail
