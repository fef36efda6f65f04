// Conversion of a whole text into a string.
//
// A string cannot be made longer without being filled first, which takes about as long as the conversion of ASCII. So
// text is converted piece by piece into a small area, which stays in the nearest cache, and appended from there.
//
// Thread safety: pure functions.
#pragma once

#include "codec/codec.hpp"

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>

namespace fl::i18n::detail {

/// How many units are converted before they are appended.
template <class Out>
constexpr std::size_t converted_area = 4096 / sizeof(Out);

/// Appends `text`, converted, to `result`, with `replacement` for each ill-formed subpart. `convert` does what
/// `codec::convert` does, or `codec::resume` if its first argument says so, for the end of a text. `reserve(done,
/// count)` is called before each piece is appended: of the text `done` units are converted, the last of them to `count`
/// units, which are not in `result` yet.
template <class Out, class In, class Convert, class Reserve>
void append_converted(std::basic_string<Out>& result, std::basic_string_view<In> text,
                      std::basic_string_view<Out> replacement, Convert convert, Reserve reserve) {
  constexpr std::size_t spare = codec<Out, In>::max_character;  // So that a replacement always fits.
  Out area[converted_area<Out> + spare];
  Out* const area_end = area + converted_area<Out>;
  Out* to = area;
  const In* from = text.data();
  const In* const end = from + text.size();
  bool is_behind_error = false;
  for (;;) {
    const stopped stop = convert(is_behind_error, from, end, to, area_end);
    is_behind_error = stop.why == stop_reason::ill_formed;
    if (is_behind_error) {
      from += stop.ill_formed_length;
      to = std::copy(replacement.begin(), replacement.end(), to);
      if (to < area_end) {
        continue;
      }
    }
    reserve(static_cast<std::size_t>(from - text.data()), static_cast<std::size_t>(to - area));
    result.append(area, to);
    to = area;
    if (stop.why == stop_reason::input_used) {
      return;
    }
  }
}

}  // namespace fl::i18n::detail
