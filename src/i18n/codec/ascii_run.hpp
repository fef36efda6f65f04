// ASCII between bytes and UTF-16 units, sixteen characters at a time through SSE2, which every x86-64 processor has,
// and the loop that goes from one run of ASCII to the next.
//
// Thread safety: pure functions.
#pragma once

#include "codec/block.hpp"

#include <bit>
#include <cstddef>

namespace fl::i18n::detail {

constexpr std::size_t ascii_block = 16;  ///< Characters that one step takes.

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

/// What a step may read or write: fewer than 16 ASCII characters, and the largest `Take` behind them.
template <class T>
constexpr std::size_t step_room = sizeof(T) == 1 ? 48 : 24;

template <class Out, class In>
bool has_step_room(const In* from, const In* end, const Out* to, const Out* to_end) {
  return static_cast<std::size_t>(end - from) >= step_room<In> &&
         static_cast<std::size_t>(to_end - to) >= step_room<Out>;
}

/// Converts while there is room for each step: runs of ASCII here, and what is between them by `Take`, which converts
/// one character or more and moves both positions behind them, or returns false.
template <auto Take, class Out, class In>
void convert_blocks(const In*& from_place, const In* end, Out*& to_place, const Out* to_end) {
  // Copies: the compiler must take it that a store of a `char` changes the caller's pointers.
  const In* from = from_place;
  Out* to = to_place;
  bool going = true;
  while (going && has_step_room(from, end, to, to_end)) {
    if (is_ascii(*from)) {
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
    going = Take(from, to);
  }
  from_place = from;
  to_place = to;
}

/// Copies `count` units by blocks, the last two of which overlap. At least one block.
template <class T>
void copy_overlapping(const T* from, std::size_t count, T* to) {
  constexpr std::size_t block = sizeof(__m128i) / sizeof(T);
  for (std::size_t at = 0; at + block <= count; at += block) {
    store_block(to + at, load_block(from + at));
  }
  store_block(to + count - block, load_block(from + count - block));
}

/// As `convert_blocks`, for the end of the input, which is too short for that: it is copied to where zeros follow it,
/// so that steps may read beyond it. Zeros are ASCII, so that no other character goes on with them. For an end of less
/// than a block this would not pay.
template <auto Take, class Out, class In>
void convert_end(const In*& from, const In* end, Out*& to_place, const Out* to_end) {
  const auto count = static_cast<std::size_t>(end - from);
  if (count < sizeof(__m128i) / sizeof(In) || count >= step_room<In>) {
    return;
  }
  In copy[2 * step_room<In>] = {};
  copy_overlapping(from, count, copy);
  const In* at = copy;
  const In* const copy_end = copy + count;
  Out* to = to_place;
  bool going = true;
  while (going && at != copy_end && static_cast<std::size_t>(to_end - to) >= step_room<Out>) {
    if (is_ascii(*at)) {
      const unsigned others = copy_ascii_block(at, to) | 1U << ascii_block;
      const auto run = static_cast<std::size_t>(std::countr_zero(others));
      const auto left = static_cast<std::size_t>(copy_end - at);
      at += run < left ? run : left;
      to += run < left ? run : left;
      continue;
    }
    going = Take(at, to);
  }
  from += at - copy;
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
