// The encoder of UTF-8, for all that writes it; made like the decoder, see utf8_decode.hpp.
//
// Thread safety: pure functions.
#pragma once

#include "codec/ascii_run.hpp"
#include "codec/codec.hpp"
#include "codec/kernel.hpp"
#include "codec/utf_step.hpp"

#include <algorithm>

namespace fl::i18n::detail {

constexpr std::size_t most_bytes_of_unit = 3;  ///< a pair has four

/// How many of `available` units certainly have room.
inline std::size_t units_with_room(const char16_t* from, std::size_t available, std::size_t room_of_bytes) {
  if (available * most_bytes_of_unit <= room_of_bytes) {
    return available;
  }
  // Of ASCII, three times as many have room.
  const std::size_t likely = std::min(available, room_of_bytes);
  const bool fit = kernel::utf8_length(from, likely) <= room_of_bytes;
  return fit ? likely : room_of_bytes / most_bytes_of_unit;
}

/// Converts well-formed text as far as there is certainly room, and moves both positions behind it. `asks`: to find out
/// about more room, at once, which reads as much text as has room. Otherwise only once what surely has room is
/// well-formed: a text that is ill-formed again and again would be read to its end each time.
[[gnu::always_inline]] inline void encode_by_kernel(const char16_t*& from, const char16_t* end, char*& to,
                                                    const char* to_end, bool asks) {
  for (;; asks = true) {
    const auto available = static_cast<std::size_t>(end - from);
    const auto room_of_bytes = static_cast<std::size_t>(to_end - to);
    if (available < kernel::least || room_of_bytes < kernel::least) {
      return;
    }
    std::size_t count = asks ? units_with_room(from, available, room_of_bytes)
                             : std::min(available, room_of_bytes / most_bytes_of_unit);
    if (count != 0 && utf16_traits::is_first_surrogate(from[count - 1])) {
      --count;  // Its other half is not there.
    }
    const kernel::outcome done = kernel::utf16_to_utf8(from, count, to);
    from += done.used;
    to += done.written;
    if (done.used != count || done.used == 0 || from == end) {
      return;
    }
  }
}

/// What the kernel leaves, and a text that is too short for it.
[[gnu::noinline]] inline stopped encode_by_steps(const char16_t*& from, const char16_t* end, char*& to, char* to_end,
                                                 bool last) {
  for (;;) {
    for (int steps = 16; steps != 0; --steps) {
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
    encode_by_kernel(from, end, to, to_end, false);
  }
}

/// Into an area that may be too small for all of it.
[[gnu::noinline]] inline stopped encode_as_much(const char16_t*& from_place, const char16_t* end, char*& to_place,
                                                char* to_end, bool last) {
  // Copies: see the decoder.
  const char16_t* from = from_place;
  char* to = to_place;
  encode_by_kernel(from, end, to, to_end, true);
  from_place = from;
  to_place = to;
  return from == end ? stopped{} : encode_by_steps(from_place, end, to_place, to_end, last);
}

/// As `encoder::convert`.
inline stopped encode_utf8(const char16_t*& from, const char16_t* end, char*& to, char* to_end, bool last) {
  const auto available = static_cast<std::size_t>(end - from);
  if (available * most_bytes_of_unit > static_cast<std::size_t>(to_end - to)) {
    return encode_as_much(from, end, to, to_end, last);
  }
  // All of it has room: see the decoder. The first half of a pair at the end stops the kernel, too.
  if (available >= kernel::least) {
    const kernel::outcome done = kernel::utf16_to_utf8(from, available, to);
    from += done.used;
    to += done.written;
    if (done.used == available) {
      return {};
    }
  }
  return encode_by_steps(from, end, to, to_end, last);
}

}  // namespace fl::i18n::detail
