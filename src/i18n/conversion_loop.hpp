// The loop of a codec that takes one character at a time and runs of US-ASCII at once.
//
// Thread safety: pure functions.
#pragma once

#include "ascii_run.hpp"
#include "codec.hpp"

#include <cstddef>

namespace fl::i18n::detail {

/// What stands at some place of the input.
template <class Out, std::size_t Most = codec<char, char16_t>::max_character>
struct character {
  std::size_t length = 0;     ///< in units of input; 0: the input ends inside the character
  std::size_t out_count = 0;  ///< units in `out`; 0: ill-formed
  Out out[Most] = {};
};

constexpr std::size_t incomplete = 0;

/// Does what `codec::convert` is to do. `take(from, end)` gives the `character` at `from`, which is not `end`.
/// `with_ascii`: US-ASCII characters stand for themselves.
template <class Out, class In, class Take>
stopped convert_characters(const In*& from_place, const In* end, Out*& to_place, Out* to_end, bool last,
                           bool with_ascii, Take take) {
  // Through copies: the compiler must take it that a store of a `char` changes the caller's pointers.
  const In* from = from_place;
  Out* to = to_place;
  stopped result;
  while (from != end) {
    if (with_ascii && is_ascii(*from)) {
      if (to == to_end) {
        result.why = stop_reason::output_full;
        break;
      }
      *to++ = static_cast<Out>(*from++);
      if (from != end && is_ascii(*from)) {
        copy_ascii(from, end, to, to_end);
      }
      continue;
    }
    const auto next = take(from, end);
    if (next.length == incomplete && !last) {
      break;
    }
    if (next.length == incomplete || next.out_count == 0) {
      result = {stop_reason::ill_formed, 1};
      break;
    }
    if (static_cast<std::size_t>(to_end - to) < next.out_count) {
      result.why = stop_reason::output_full;
      break;
    }
    for (std::size_t i = 0; i != next.out_count; ++i) {
      *to++ = next.out[i];
    }
    from += next.length;
  }
  from_place = from;
  to_place = to;
  return result;
}

}  // namespace fl::i18n::detail
