// UTF-8 to UTF-16 and back, whole strings. Thread safety: pure functions.
//
// A text of no more than one piece of `append_converted` needs nothing else. For a longer one, memory is reserved once:
// of the size that the result has if the text is well-formed; but a text that begins with a piece of ASCII counts as
// all ASCII, since to look would take half as long as converting it. If it is not, the string grows as it always does.
#include <i18n/convert.hpp>

#include "codec/block.hpp"
#include "codec/utf8_decode.hpp"
#include "codec/utf8_encode.hpp"
#include "convert/append_converted.hpp"

#include <algorithm>

namespace fl::i18n {
namespace {

/// The sum of what `Count` finds in each whole block of the text: lanes of 8 bits, each 0, -1 or -2.
template <auto Count, class In>
std::size_t count_blocks(std::basic_string_view<In> text) {
  constexpr std::size_t block_length = 16 / sizeof(In);
  __m128i total = _mm_setzero_si128();
  while (text.size() >= block_length) {
    // As many blocks as a lane can add up.
    const std::size_t blocks = std::min<std::size_t>(text.size() / block_length, 100);
    __m128i sum = _mm_setzero_si128();
    for (std::size_t i = 0; i != blocks; ++i) {
      sum = _mm_sub_epi8(sum, Count(detail::load_block(text.data() + i * block_length)));
    }
    total = _mm_add_epi64(total, _mm_sad_epu8(sum, _mm_setzero_si128()));
    text.remove_prefix(blocks * block_length);
  }
  return static_cast<std::size_t>(_mm_cvtsi128_si64(_mm_add_epi64(total, _mm_unpackhi_epi64(total, total))));
}

/// The units of UTF-16 that 16 bytes begin, negative, byte by byte: most bytes begin a character, some begin two units.
__m128i begun_units(__m128i bytes) {
  const __m128i leads = _mm_cmpgt_epi8(bytes, _mm_set1_epi8(-0x41));
  const __m128i beyond = _mm_set1_epi8(static_cast<char>(0xF0));
  return _mm_add_epi8(leads, _mm_cmpeq_epi8(_mm_max_epu8(bytes, beyond), bytes));
}

/// The bytes beyond one that eight units need, negative, in the low byte of each: each half of a pair needs two bytes.
__m128i further_bytes(__m128i units) {
  const __m128i zero = _mm_setzero_si128();
  const __m128i range = _mm_and_si128(units, detail::lanes16(0xF800));
  const __m128i ascii = _mm_cmpeq_epi16(_mm_and_si128(units, detail::lanes16(0xFF80)), zero);
  const __m128i below = _mm_cmpeq_epi16(range, zero);
  const __m128i surrogate = _mm_cmpeq_epi16(range, detail::lanes16(0xD800));
  const __m128i fewer_than_two = _mm_add_epi16(_mm_add_epi16(ascii, below), surrogate);
  return _mm_and_si128(_mm_sub_epi16(detail::lanes16(-2), fewer_than_two), detail::lanes16(0xFF));
}

/// Units of well-formed UTF-16 that the text has; a few at its end are counted as if they were ASCII.
std::size_t count_units(std::string_view bytes) {
  return count_blocks<begun_units>(bytes) + bytes.size() % 16;
}

/// Size in bytes of the text in UTF-8 if it is well-formed, at most; a few units at its end are counted as three.
std::size_t count_bytes(std::u16string_view text) {
  return text.size() + count_blocks<further_bytes>(text) + text.size() % 8 * 2;
}

template <auto Convert, auto Count, class Out, class In>
std::basic_string<Out> convert_whole(std::basic_string_view<In> text, std::basic_string_view<Out> replacement) {
  std::basic_string<Out> result;
  const auto convert = [](const In*& from, const In* end, Out*& to, Out* to_end) {
    return Convert(from, end, to, to_end, true);
  };
  const auto reserve = [&](std::size_t done, std::size_t count) {
    if (result.empty() && done != text.size()) {
      const bool ascii_so_far = count == done;
      result.reserve(ascii_so_far ? text.size() : Count(text));
    }
  };
  detail::append_converted(result, text, replacement, convert, reserve);
  return result;
}

}  // namespace

std::string ustring_to_utf8(std::u16string_view text) {
  return convert_whole<detail::encode_utf8, count_bytes, char>(text, "\xEF\xBF\xBD");
}

ustring utf8_to_ustring(std::string_view bytes) {
  return convert_whole<detail::decode_utf8, count_units, char16_t>(bytes, u"\uFFFD");
}

}  // namespace fl::i18n
