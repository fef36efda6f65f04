// One code point at a time out of UTF-8 and UTF-16, with the replacement rule of i18n/convert.hpp, and back.
//
// Thread safety: pure functions. Not here: the fast path for ASCII (utf.cpp).
#pragma once

#include <boost/locale/utf.hpp>

#include <cstddef>

namespace fl::i18n::detail {

using boost::locale::utf::code_point;
using utf8_traits = boost::locale::utf::utf_traits<char>;
using utf16_traits = boost::locale::utf::utf_traits<char16_t>;

/// Stands for each maximal ill-formed subpart.
constexpr code_point replacement_character = 0xFFFD;

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

/// Length in bytes of the maximal subpart at `begin`, where no well-formed sequence stands. At least 1.
inline std::size_t ill_formed_length(const char* begin, const char* end) {
  const auto byte = [begin](std::size_t index) { return static_cast<unsigned char>(begin[index]); };
  const int trailing = utf8_traits::trail_length(*begin);
  const std::size_t available = static_cast<std::size_t>(end - begin);
  if (trailing < 1 || available < 2 || !is_second_byte(byte(0), byte(1))) {
    return 1;
  }
  // With a good second byte, only a sequence of four bytes can still fail behind the third.
  return available > 2 && utf8_traits::is_trail(begin[2]) ? 3 : 2;
}

/// Takes one code point from [from, end), which is not empty, and moves `from` behind it.
inline code_point take(const char*& from, const char* end) {
  const char* const begin = from;
  const code_point value = utf8_traits::decode(from, end);
  if (boost::locale::utf::is_valid_codepoint(value)) {
    return value;
  }
  // The decoder stops behind the byte at which it noticed, which may belong to the next character.
  from = begin + ill_formed_length(begin, end);
  return replacement_character;
}

/// The same for UTF-16; a lone surrogate is an ill-formed subpart of one unit.
inline code_point take(const char16_t*& from, const char16_t* end) {
  const char16_t* const begin = from;
  const code_point value = utf16_traits::decode(from, end);
  if (boost::locale::utf::is_valid_codepoint(value)) {
    return value;
  }
  from = begin + 1;
  return replacement_character;
}

}  // namespace fl::i18n::detail
