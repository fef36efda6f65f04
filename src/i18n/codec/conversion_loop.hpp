// The loop of a codec over a table: a quick one where there is ample room, and a careful one, which takes one character
// at a time, for the edges and for what is rare.
//
// Thread safety: pure functions.
#pragma once

#include "codec/ascii_run.hpp"
#include "codec/code_page_table.hpp"
#include "codec/codec.hpp"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace fl::i18n::detail {

/// What stands at some place of the input.
template <class Out, std::size_t Most = codec<char, char16_t>::max_character>
struct character {
  std::size_t length = 0;     ///< in units of input; 0: the input ends inside the character
  std::size_t out_count = 0;  ///< units in `out`; 0: ill-formed
  Out out[Most] = {};
};

constexpr std::size_t incomplete = 0;

/// A step of `convert_quickly`: a byte or a pair of bytes of the table.
inline auto decoding_step(const code_page_table& table) {
  return [rows = table.rows.data(), units = table.units.data()](const char*& from, char16_t*& to) {
    const auto byte = [from](std::size_t index) { return static_cast<unsigned char>(from[index]); };
    const std::size_t row = rows[byte(0)];
    const char16_t unit = row != 0 ? units[row * code_page_table::row_size + byte(1)] : units[byte(0)];
    if (unit == code_page_table::no_character) {
      return false;
    }
    *to++ = unit;
    from += row != 0 ? 2 : 1;
    return true;
  };
}

/// A step of `convert_quickly`: a unit that the table has, but for U+0000, which looks like one that it has not.
inline auto encoding_step(const code_page_table& table) {
  return [codes = table.codes.data()](const char16_t*& from, char*& to) {
    const std::uint16_t code = codes[*from];
    if (code > 0xFF) {
      const auto swapped = static_cast<std::uint16_t>(code << 8 | code >> 8);
      std::memcpy(to, &swapped, sizeof swapped);
      to += sizeof swapped;
    } else if (code != code_page_table::no_code) {
      *to++ = static_cast<char>(code);
    } else {
      return false;
    }
    ++from;
    return true;
  };
}

/// Converts until one of the ends is near or `step(from, to)` returns false. Otherwise a step has converted one
/// character, of one or two units on either side, and moved both positions behind it.
template <class Out, class In, class Step>
void convert_quickly(const In*& from_place, const In* end, Out*& to_place, const Out* to_end, bool with_ascii,
                     Step step) {
  // Steps between two looks for a block of US-ASCII, which costs more than a step where there is none.
  constexpr std::size_t most_steps = 32;
  // Copies: the compiler must take it that a store of a `char` changes the caller's pointers.
  const In* from = from_place;
  Out* to = to_place;
  bool going = true;
  for (std::size_t space; going && (space = room(from, end, to, to_end)) >= ascii_block;) {
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
      space -= static_cast<std::size_t>(count);
    }
    for (std::size_t left = std::min(space / 2, most_steps); going && left != 0; --left) {
      going = step(from, to);
    }
  }
  from_place = from;
  to_place = to;
}

/// Does what `codec::convert` is to do. `take(from, end)` gives the `character` at `from`, which is not `end`; `step`
/// is that of `convert_quickly`. `with_ascii`: US-ASCII characters stand for themselves.
template <class Out, class In, class Step, class Take>
stopped convert_characters(const In*& from, const In* end, Out*& to, Out* to_end, bool last, bool with_ascii, Step step,
                           Take take) {
  for (;;) {
    convert_quickly(from, end, to, to_end, with_ascii, step);
    if (from == end) {
      return {};
    }
    const auto next = take(from, end);
    if (next.length == incomplete && !last) {
      return {};
    }
    if (next.length == incomplete || next.out_count == 0) {
      return {stop_reason::ill_formed, 1};
    }
    if (static_cast<std::size_t>(to_end - to) < next.out_count) {
      return {stop_reason::output_full};
    }
    for (std::size_t i = 0; i != next.out_count; ++i) {
      *to++ = next.out[i];
    }
    from += next.length;
  }
}

}  // namespace fl::i18n::detail
