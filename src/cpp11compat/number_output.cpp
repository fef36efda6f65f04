// Output of numbers. These functions write what the templates of the run-time library would write, unit for unit, only
// sooner: the templates make one digit at a time, and let the C run-time format what is not an integer. What is rare or
// would have to be rebuilt in detail is left to them: `bool`, addresses, `long double`, infinity and what is no number,
// `hexfloat`, `showpoint`, a precision beyond `most_places`, and all numbers in a locale that groups digits or has
// another point.
#include <cpp11compat/char16_streams.hpp>

#include <emmintrin.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <limits>
#include <string_view>
#include <type_traits>

namespace {

using std::ios_base;
using output = std::num_put<char16_t>::iter_type;

/// Decimal digits are made eight at a time.
constexpr int digits_a_step = 8;
constexpr unsigned step = 100'000'000;
/// Units for the longest integer: its digits in decimal in whole steps and a sign. Octal takes two units less.
constexpr std::size_t integer_size = 3 * digits_a_step + 1;
/// The largest precision for which a number is formatted here.
constexpr int most_places = 128;
/// Bytes of the longest number that is no integer: sign, point and all places, and `+` before it.
constexpr std::size_t real_size = std::numeric_limits<double>::max_exponent10 + most_places + 4;

/// Whether a stream writes numbers as in the C locale.
bool has_plain_punctuation(const ios_base& io) {
  using punctuation = std::__numpunct_cache<char16_t>;
  // A locale keeps what its facets say. (`getloc` would copy the locale, and so count a reference up and down.)
  const punctuation& kept = *std::__use_cache<punctuation>()(io._M_getloc());
  return !kept._M_use_grouping && kept._M_decimal_point == u'.' &&
         kept._M_atoms_out[std::__num_base::_S_odigits] == u'0';
}

/// The eight decimal digits of a number below `step`, one a byte, the first in the lowest byte. Halves the digits in
/// each lane three times, with the quotients as products; no branch, since nobody could predict it.
std::uint64_t eight_digits(std::uint32_t value) {
  const std::uint64_t fours = value / 10000 | std::uint64_t{value % 10000} << 32;
  const std::uint64_t hundreds = (fours * 10486 >> 20) & 0x0000'007F'0000'007F;
  const std::uint64_t twos = hundreds | (fours - hundreds * 100) << 16;
  const std::uint64_t tens = (twos * 103 >> 10) & 0x000F'000F'000F'000F;
  return tens | (twos - tens * 10) << 8;
}

void store_digits(std::uint64_t digits, char16_t* place) {
  const __m128i bytes = _mm_cvtsi64_si128(static_cast<long long>(digits));
  const __m128i units = _mm_or_si128(_mm_unpacklo_epi8(bytes, _mm_setzero_si128()), _mm_set1_epi16(u'0'));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(place), units);
}

/// Writes the digits of `value` before `end`, and zeros before them up to a whole step; gives the first digit.
template <class Unsigned>
char16_t* write_decimal(Unsigned value, char16_t* end) {
  for (; value >= step; value /= step) {
    store_digits(eight_digits(static_cast<std::uint32_t>(value % step)), end -= digits_a_step);
  }
  const std::uint64_t digits = eight_digits(static_cast<std::uint32_t>(value));
  store_digits(digits, end -= digits_a_step);
  constexpr std::uint64_t last_digit = std::uint64_t{1} << 56;  // One is written even if it is a zero.
  return end + __builtin_ctzll(digits | last_digit) / 8;
}

/// Writes `value` before `end`, octal or hexadecimal as `flags` say, with the sign of its base if they want one.
template <class Unsigned>
char16_t* write_bits(Unsigned value, ios_base::fmtflags flags, char16_t* end) {
  const bool is_octal = (flags & ios_base::basefield) == ios_base::oct;
  const bool is_upper = (flags & ios_base::uppercase) != 0;
  const bool shows_base = (flags & ios_base::showbase) != 0 && value != 0;
  const char16_t* const digits = is_upper ? u"0123456789ABCDEF" : u"0123456789abcdef";
  const int bits = is_octal ? 3 : 4;
  do {
    *--end = digits[value & ((1u << bits) - 1)];
    value >>= bits;
  } while (value != 0);
  if (shows_base && !is_octal) {
    *--end = is_upper ? u'X' : u'x';
  }
  if (shows_base) {
    *--end = u'0';
  }
  return end;
}

/// How many units of a number stand before the padding that goes inside it.
std::size_t prefix_size(std::u16string_view number) {
  if (number[0] == u'-' || number[0] == u'+') {
    return 1;
  }
  return number.size() > 1 && number[0] == u'0' && (number[1] == u'x' || number[1] == u'X') ? 2 : 0;
}

std::size_t size_before_padding(std::u16string_view number, ios_base::fmtflags flags) {
  switch (flags & ios_base::adjustfield) {
    case ios_base::left:
      return number.size();
    case ios_base::internal:
      return prefix_size(number);
    default:
      return 0;
  }
}

output put_padded(output out, const ios_base& io, char16_t fill, std::u16string_view number, std::streamsize missing) {
  const std::size_t before = size_before_padding(number, io.flags());
  std::array<char16_t, 32> block;
  block.fill(fill);
  out._M_put(number.data(), static_cast<std::streamsize>(before));
  for (; missing > 0; missing -= static_cast<std::streamsize>(block.size())) {
    out._M_put(block.data(), std::min(missing, static_cast<std::streamsize>(block.size())));
  }
  number.remove_prefix(before);
  return out._M_put(number.data(), static_cast<std::streamsize>(number.size()));
}

/// Writes a finished number and uses the width up. Inline with its callers, because then the iterator is taken apart
/// into its fields. A call copies it whole, and that waits until the stores of its fields have reached the cache.
[[gnu::always_inline]] inline output put_number(output out, ios_base& io, char16_t fill, const char16_t* first,
                                                const char16_t* last) {
  const std::streamsize size = last - first;
  const std::streamsize missing = io.width() - size;
  io.width(0);
  if (missing > 0) {
    return put_padded(out, io, fill, {first, static_cast<std::size_t>(size)}, missing);
  }
  return out._M_put(first, size);
}

/// Writes an integer in the base and with the sign that `flags` want, before `end`; gives its first unit.
template <class Integer>
char16_t* write_integer(Integer value, ios_base::fmtflags flags, char16_t* end) {
  using unsigned_type = std::make_unsigned_t<Integer>;
  const auto bits = static_cast<unsigned_type>(value);
  const ios_base::fmtflags base = flags & ios_base::basefield;
  if (base == ios_base::oct || base == ios_base::hex) {
    return write_bits(bits, flags, end);
  }
  if constexpr (std::is_unsigned_v<Integer>) {
    return write_decimal(bits, end);
  } else {
    const bool is_negative = value < 0;
    char16_t* const first = write_decimal(is_negative ? unsigned_type() - bits : bits, end);
    first[-1] = is_negative ? u'-' : u'+';
    return first - (is_negative || (flags & ios_base::showpos) != 0 ? 1 : 0);
  }
}

template <class Integer>
[[gnu::always_inline]] inline output put_integer(output out, ios_base& io, char16_t fill, Integer value) {
  char16_t text[integer_size];
  char16_t* const end = std::end(text);
  return put_number(out, io, fill, write_integer(value, io.flags(), end), end);
}

std::chars_format format_of(ios_base::fmtflags flags) {
  switch (flags & ios_base::floatfield) {
    case ios_base::fixed:
      return std::chars_format::fixed;
    case ios_base::scientific:
      return std::chars_format::scientific;
    default:
      return std::chars_format::general;
  }
}

output put_real(output out, ios_base& io, char16_t fill, double value) {
  constexpr int default_precision = 6;
  const ios_base::fmtflags flags = io.flags();
  const int precision = io.precision() < 0 ? default_precision : static_cast<int>(io.precision());
  char bytes[real_size];
  const char* const end = std::to_chars(bytes, std::end(bytes), value, format_of(flags), precision).ptr;
  char16_t text[real_size];
  char16_t* last = text;
  if ((flags & ios_base::showpos) != 0 && !std::signbit(value)) {
    *last++ = u'+';
  }
  const char exponent = (flags & ios_base::uppercase) != 0 ? 'E' : 'e';
  for (const char* each = bytes; each != end; ++each) {
    *last++ = static_cast<char16_t>(*each == 'e' ? exponent : *each);
  }
  return put_number(out, io, fill, text, last);
}

bool is_left_to_template(const ios_base& io, double value) {
  constexpr auto hexfloat = ios_base::fixed | ios_base::scientific;
  const ios_base::fmtflags flags = io.flags();
  return (flags & ios_base::floatfield) == hexfloat || (flags & ios_base::showpoint) != 0 ||
         io.precision() > most_places || !std::isfinite(value) || !has_plain_punctuation(io);
}

}  // namespace

namespace std {

template <>
output num_put<char16_t>::do_put(output out, ios_base& io, char16_t fill, long value) const {
  if (!has_plain_punctuation(io)) {
    return _M_insert_int(out, io, fill, value);
  }
  return put_integer(out, io, fill, value);
}

template <>
output num_put<char16_t>::do_put(output out, ios_base& io, char16_t fill, unsigned long value) const {
  if (!has_plain_punctuation(io)) {
    return _M_insert_int(out, io, fill, value);
  }
  return put_integer(out, io, fill, value);
}

template <>
output num_put<char16_t>::do_put(output out, ios_base& io, char16_t fill, long long value) const {
  if (!has_plain_punctuation(io)) {
    return _M_insert_int(out, io, fill, value);
  }
  return put_integer(out, io, fill, value);
}

template <>
output num_put<char16_t>::do_put(output out, ios_base& io, char16_t fill, unsigned long long value) const {
  if (!has_plain_punctuation(io)) {
    return _M_insert_int(out, io, fill, value);
  }
  return put_integer(out, io, fill, value);
}

template <>
output num_put<char16_t>::do_put(output out, ios_base& io, char16_t fill, double value) const {
  constexpr char no_modifier = 0;
  if (is_left_to_template(io, value)) {
    return _M_insert_float(out, io, fill, no_modifier, value);
  }
  return put_real(out, io, fill, value);
}

}  // namespace std
