// UTF-8 to UTF-16 and back. Thread safety: pure functions.
//
// Most text is ASCII, so runs of it go sixteen characters at a time through SSE2, which every x86-64 processor has.
#include "utf_step.hpp"

#include <i18n/convert.hpp>

#include <emmintrin.h>

#include <algorithm>

namespace fl::i18n {
namespace {

constexpr std::ptrdiff_t block = 16;  // Characters that one step of the fast path takes.

bool is_ascii(char byte) {
  return static_cast<unsigned char>(byte) < 0x80;
}
bool is_ascii(char16_t unit) {
  return unit < 0x80;
}

/// Copies one block if all of it is ASCII.
bool copy_block(const char* from, char16_t* to) {
  const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
  if (_mm_movemask_epi8(bytes) != 0) {
    return false;
  }
  const __m128i zero = _mm_setzero_si128();
  _mm_storeu_si128(reinterpret_cast<__m128i*>(to), _mm_unpacklo_epi8(bytes, zero));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(to + block / 2), _mm_unpackhi_epi8(bytes, zero));
  return true;
}

bool copy_block(const char16_t* from, char* to) {
  const __m128i low = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
  const __m128i high = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from + block / 2));
  const __m128i beyond_ascii = _mm_and_si128(_mm_or_si128(low, high), _mm_set1_epi16(static_cast<short>(0xFF80)));
  if (_mm_movemask_epi8(_mm_cmpeq_epi16(beyond_ascii, _mm_setzero_si128())) != 0xFFFF) {
    return false;
  }
  _mm_storeu_si128(reinterpret_cast<__m128i*>(to), _mm_packus_epi16(low, high));
  return true;
}

/// Copies the ASCII characters at `from` and moves both positions behind them.
template <class To, class From>
void copy_ascii(const From*& from, const From* end, To*& to) {
  while (end - from >= block && copy_block(from, to)) {
    from += block;
    to += block;
  }
  while (from != end && is_ascii(*from)) {
    *to++ = static_cast<To>(*from++);
  }
}

/// Converts all of `text` into the area at `to`, which is large enough, and returns the end of what was written.
template <class To, class From>
To* convert(std::basic_string_view<From> text, To* to) {
  const From* from = text.data();
  const From* const end = from + text.size();
  while (from != end) {
    if (is_ascii(*from)) {
      copy_ascii(from, end, to);
    } else {
      to = boost::locale::utf::utf_traits<To>::encode(detail::take(from, end), to);
    }
  }
  return to;
}

/// Size in bytes of the text in UTF-8. A lone surrogate counts three, as U+FFFD does.
std::size_t size_in_utf8(std::u16string_view text) {
  std::size_t bytes = 0;
  bool after_high = false;
  for (const char16_t unit : text) {
    const bool completes_pair = after_high && detail::utf16_traits::is_second_surrogate(unit);
    // The first half has counted three already, and a pair takes four.
    bytes += completes_pair ? 1U : 1U + (unit >= 0x80) + (unit >= 0x800);
    after_high = detail::utf16_traits::is_first_surrogate(unit);
  }
  return bytes;
}

}  // namespace

std::string ustring_to_utf8(std::u16string_view text) {
  std::string result(size_in_utf8(text), '\0');
  convert(text, result.data());
  return result;
}

ustring utf8_to_ustring(std::string_view bytes) {
  // No sequence, well-formed or not, gives more units than it has bytes.
  ustring result(bytes.size(), u'\0');
  const char16_t* const end = convert(bytes, result.data());
  result.resize(static_cast<std::size_t>(end - result.data()));
  return result;
}

}  // namespace fl::i18n
