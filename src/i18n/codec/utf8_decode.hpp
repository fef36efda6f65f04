// The decoder of UTF-8, for all that reads it. Ill-formed subparts are those of i18n/convert.hpp.
//
// Well-formed text is the kernel's. Where it stops, and for a few characters, one step takes one of them with all
// checks. Then the kernel is tried again, so that the time for a text is proportional to its length whatever is in it.
//
// Thread safety: pure functions.
#pragma once

#include "codec/ascii_run.hpp"
#include "codec/codec.hpp"
#include "codec/kernel.hpp"
#include "codec/utf_step.hpp"

#include <algorithm>
#include <cstdint>

namespace fl::i18n::detail {

/// What stands at the start of some UTF-8.
struct utf8_sequence {
  enum class state { whole, cut, ill_formed };
  state is;
  std::uint32_t length;  ///< In bytes: of the character, or of what there is of it, or of the ill-formed subpart.
  code_point value;      ///< Of a whole one.
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
  std::uint32_t length = 1;
  for (; length <= static_cast<std::uint32_t>(trailing); ++length) {
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

/// The length of the longest part of [from, from + size) that does not end inside a character, as far as its last lead
/// byte tells.
inline std::size_t without_cut_character(const char* from, std::size_t size) {
  const std::size_t longest = size < 3 ? size : 3;
  for (std::size_t back = 1; back <= longest; ++back) {
    const auto byte = static_cast<unsigned char>(from[size - back]);
    if (byte >= 0xC0) {
      return trailing_bytes(byte) >= static_cast<int>(back) ? size - back : size;
    }
    if (byte < 0x80) {
      return size;
    }
  }
  return size;
}

/// How many of `available` bytes, more than there is room for in units, have room if they are well-formed.
inline std::size_t bytes_with_room(const char* from, std::size_t available, std::size_t room_of_units) {
  constexpr std::size_t most_bytes = 3;  // Of a unit; a pair has four.
  const std::size_t likely = std::min(available, most_bytes * room_of_units);
  const std::size_t length = kernel::utf16_length(from, likely);
  if (length <= room_of_units) {
    return likely;
  }
  // So many bytes less of well-formed text give at least as many units less as there are too many. The text need not be
  // well-formed that far.
  const std::size_t surplus = std::min(most_bytes * (length - room_of_units), likely);
  const std::size_t less = likely - surplus;
  const bool fit = less > room_of_units && length - kernel::utf16_length(from + less, surplus) <= room_of_units;
  return fit ? less : room_of_units;
}

/// Converts well-formed text as far as there is certainly room, and moves both positions behind it.
[[gnu::always_inline]] inline void decode_by_kernel(const char*& from, const char* end, char16_t*& to,
                                                    const char16_t* to_end) {
  for (bool is_mostly_ascii = true;;) {
    const auto available = static_cast<std::size_t>(end - from);
    const auto room_of_units = static_cast<std::size_t>(to_end - to);
    if (available < kernel::least || room_of_units < kernel::least) {
      return;
    }
    // No byte gives more than one unit. Of other text than ASCII more bytes have room, which takes time to find out.
    const std::size_t count = available <= room_of_units ? available
                              : is_mostly_ascii          ? room_of_units
                                                         : bytes_with_room(from, available, room_of_units);
    const std::size_t whole = without_cut_character(from, count);
    const kernel::outcome done = kernel::utf8_to_utf16(from, whole, to);
    from += done.used;
    to += done.written;
    if (done.used != whole || from == end) {
      return;
    }
    is_mostly_ascii = done.used - done.written < done.used / 4;
  }
}

/// What the kernel leaves, and a text that is too short for it.
[[gnu::noinline]] inline stopped decode_by_steps(const char*& from, const char* end, char16_t*& to, char16_t* to_end,
                                                 bool last) {
  for (;;) {
    for (int steps = 16; steps != 0; --steps) {
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
    decode_by_kernel(from, end, to, to_end);
  }
}

/// Into an area that may be too small for all of it.
[[gnu::noinline]] inline stopped decode_as_much(const char*& from_place, const char* end, char16_t*& to_place,
                                                char16_t* to_end, bool last) {
  // Copies: the compiler must assume that the kernel changes the caller's pointers.
  const char* from = from_place;
  char16_t* to = to_place;
  decode_by_kernel(from, end, to, to_end);
  from_place = from;
  to_place = to;
  return from == end ? stopped{} : decode_by_steps(from_place, end, to_place, to_end, last);
}

/// As `decoder::convert`.
inline stopped decode_utf8(const char*& from, const char* end, char16_t*& to, char16_t* to_end, bool last) {
  const auto available = static_cast<std::size_t>(end - from);
  if (available > static_cast<std::size_t>(to_end - to)) {
    return decode_as_much(from, end, to, to_end, last);
  }
  // All of it has room: for text in pieces nearly always, and as little else is done as can be.
  if (available >= kernel::least) {
    const kernel::outcome done = kernel::utf8_to_utf16(from, without_cut_character(from, available), to);
    from += done.used;
    to += done.written;
    if (done.used == available) {
      return {};
    }
  }
  return decode_by_steps(from, end, to, to_end, last);
}

}  // namespace fl::i18n::detail
