// UTF-8 to UTF-16 and back, whole strings. Thread safety: pure functions.
//
// A string cannot be made longer without being filled first, which takes about as long as the conversion of ASCII. So
// text is converted piece by piece into a small area, which stays in the nearest cache, and appended from there. A text
// of no more than one piece needs nothing else; for a longer one, memory is reserved once, of the size that it will
// have if it is well-formed.
#include "utf8_decode.hpp"
#include "utf8_encode.hpp"

#include <i18n/convert.hpp>

#include <algorithm>

namespace fl::i18n {
namespace {

using detail::stop_reason;
using detail::stopped;

/// Units of well-formed UTF-16 that the text has. Most bytes begin a character, and some begin two units.
std::size_t count_units(std::string_view bytes) {
  std::size_t units = 0;
  for (const char byte : bytes) {
    units += (static_cast<signed char>(byte) >= -0x40) + (static_cast<unsigned char>(byte) >= 0xF0);
  }
  return units;
}

/// Size in bytes of the text in UTF-8 if it is well-formed: each half of a pair counts two.
std::size_t count_bytes(std::u16string_view text) {
  std::size_t bytes = 0;
  for (const char16_t unit : text) {
    bytes += 1U + (unit >= 0x80) + (unit >= 0x800) - ((unit & 0xF800) == 0xD800);
  }
  return bytes;
}

template <auto Convert, auto Count, class Out, class In>
std::basic_string<Out> convert_whole(std::basic_string_view<In> text, std::basic_string_view<Out> replacement) {
  constexpr std::size_t area_size = 4096 / sizeof(Out);
  constexpr std::size_t spare = 4;  // Units, so that a replacement always fits.
  Out area[area_size];
  std::basic_string<Out> result;
  const In* from = text.data();
  const In* const end = from + text.size();
  Out* to = area;
  for (;;) {
    const stopped stop = Convert(from, end, to, area + area_size - spare, true);
    if (stop.why == stop_reason::ill_formed) {
      from += stop.ill_formed_length;
      to = std::copy(replacement.begin(), replacement.end(), to);
    }
    if (stop.why == stop_reason::output_full && result.empty()) {
      result.reserve(Count(text));
    }
    if (stop.why != stop_reason::ill_formed || to >= area + area_size - spare) {
      result.append(area, to);
      to = area;
    }
    if (stop.why == stop_reason::input_used) {
      return result;
    }
  }
}

}  // namespace

std::string ustring_to_utf8(std::u16string_view text) {
  return convert_whole<detail::encode_utf8, count_bytes, char>(text, "\xEF\xBF\xBD");
}

ustring utf8_to_ustring(std::string_view bytes) {
  return convert_whole<detail::decode_utf8, count_units, char16_t>(bytes, u"\uFFFD");
}

}  // namespace fl::i18n
