// The conversion of a codec over a table: the quick loop of ascii_run.hpp where there is ample room, and one character
// at a time with care at the edges and for what is rare.
//
// Thread safety: pure functions.
#pragma once

#include "codec/ascii_run.hpp"
#include "codec/code_page_table.hpp"
#include "codec/codec.hpp"

#include <algorithm>
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

/// A step of `convert_characters`: a byte or a pair of bytes of the table.
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

/// A step of `convert_characters`: a unit that the table has, but for U+0000, which looks like one that it has not.
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

/// Steps of at most `Widest` units on either side, as many as have room, but no more than `most_steps`: then it is time
/// to look for a block of US-ASCII again, which costs more than a step where there is none.
template <std::size_t Widest, class Out, class In, class Step>
auto many_steps(const In* end, const Out* to_end, Step step) {
  return [=](const In*& from, Out*& to) {
    constexpr std::size_t most_steps = 32;
    for (std::size_t left = std::min(room(from, end, to, to_end) / Widest, most_steps); left != 0; --left) {
      if (!step(from, to)) {
        return false;
      }
    }
    return true;
  };
}

/// Does what `codec::convert` is to do. `step(from, to)` converts one character, of at most `Widest` units on either
/// side, and moves both positions behind it, or returns false. `read(from, end)` gives the `character` at `from`, which
/// is not `end`. `with_ascii`: US-ASCII characters stand for themselves.
template <std::size_t Widest = 2, class Out, class In, class Step, class Read>
stopped convert_characters(const In*& from, const In* end, Out*& to, Out* to_end, bool last, bool with_ascii, Step step,
                           Read read) {
  for (;;) {
    convert_quickly<ascii_block, ascii_block>(from, end, to, to_end, with_ascii,
                                              many_steps<Widest, Out, In>(end, to_end, step));
    if (from == end) {
      return {};
    }
    const auto next = read(from, end);
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
