// One code point at a time out of UTF-16, with the replacement rule of i18n/convert.hpp.
//
// Thread safety: pure functions. UTF-8 has utf8_decode.hpp and utf8_encode.hpp.
#pragma once

#include <boost/locale/utf.hpp>

#include <cstddef>

namespace fl::i18n::detail {

using boost::locale::utf::code_point;
using utf8_traits = boost::locale::utf::utf_traits<char>;
using utf16_traits = boost::locale::utf::utf_traits<char16_t>;

/// Stands for each maximal ill-formed subpart.
constexpr code_point replacement_character = 0xFFFD;

/// What stands at the start of some UTF-16.
struct utf16_character {
  code_point value = 0;
  std::size_t length = 0;  ///< In units; 0 for a lone surrogate.
  bool cut = false;        ///< The first half of a pair at the end of the text.
};

/// [from, end) is not empty.
inline utf16_character read_utf16(const char16_t* from, const char16_t* end) {
  if (utf16_traits::trail_length(*from) == 0) {
    return {*from, 1};
  }
  if (!utf16_traits::is_first_surrogate(*from)) {
    return {};
  }
  if (end - from == 1) {
    return {0, 0, true};
  }
  if (!utf16_traits::is_second_surrogate(from[1])) {
    return {};
  }
  return {utf16_traits::combine_surrogate(from[0], from[1]), 2};
}

/// Reads one code point of [from, end), which is not empty, and moves `from` behind it. A lone surrogate is an
/// ill-formed subpart of one unit.
inline code_point next_code_point(const char16_t*& from, const char16_t* end) {
  const utf16_character next = read_utf16(from, end);
  from += next.length == 0 ? 1 : next.length;
  return next.length == 0 ? replacement_character : next.value;
}

}  // namespace fl::i18n::detail
