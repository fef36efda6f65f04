// What the decoder and the encoder of UTF-8 share: the ways to convert well-formed text by steps that read and write
// more than they convert.
//
// A step converts one character or more, the first of which is not ASCII, and moves both positions behind them, or
// returns false and moves neither.
//
// Thread safety: pure functions.
#pragma once

#include "codec/ascii_run.hpp"
#include "codec/block.hpp"

#include <bit>
#include <cstddef>
#include <type_traits>

namespace fl::i18n::detail {

/// What may be read or written: fewer than 16 ASCII characters, and the largest step behind them.
template <class T>
constexpr std::size_t step_room = sizeof(T) == 1 ? 48 : 24;

/// Converts by `Step` while there is room for it.
template <auto Step, class Out, class In>
void convert_well_formed(const In*& from, const In* end, Out*& to, const Out* to_end) {
  convert_quickly<step_room<In>, step_room<Out>>(from, end, to, to_end, std::true_type(),
                                                 [](const In*& at, Out*& out) { return Step(at, out); });
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

/// As `convert_well_formed`, for the end of the input, which is too short for that: it is copied to where zeros follow
/// it, so that steps may read beyond it. Zeros are ASCII, so that no other character goes on with them. For an end of
/// less than a block this would not pay.
template <auto Step, class Out, class In>
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
    going = Step(at, to);
  }
  from += at - copy;
  to_place = to;
}

}  // namespace fl::i18n::detail
