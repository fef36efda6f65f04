#include "number_format.hpp"

#include <i18n/facet.hpp>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <iterator>
#include <limits>
#include <string_view>
#include <type_traits>

namespace fl::i18n::facet {
namespace {

using std::ios_base;
using output = std::num_put<char16_t>::iter_type;

/// Units of the longest integer: octal, with the zero before it.
constexpr std::size_t integer_size = std::numeric_limits<unsigned long long>::digits / 3 + 2;
/// Bytes of the longest number that is no integer: sign, point and all places, and `+` before it.
constexpr std::size_t real_size = std::numeric_limits<double>::max_exponent10 + number_output::most_decimals + 4;

/// The two digits of each number below 100, one pair behind the other.
constexpr auto digit_pairs = [] {
  std::array<char16_t, 200> pairs{};
  for (std::size_t i = 0; i != 100; ++i) {
    pairs[2 * i] = static_cast<char16_t>(u'0' + i / 10);
    pairs[2 * i + 1] = static_cast<char16_t>(u'0' + i % 10);
  }
  return pairs;
}();

/// Whether a stream writes numbers as in the C locale, so that nothing needs to be asked.
bool has_plain_punctuation(const ios_base& io) {
  return io._M_getloc() == get_global_std_locale();  // `getloc` would count a reference up and down.
}

/// Writes the digits of `value` before `end`; gives the first one.
template <class Unsigned>
char16_t* write_decimal(Unsigned value, char16_t* end) {
  for (; value >= 100; value /= 100) {
    const char16_t* const pair = &digit_pairs[value % 100 * 2];
    *--end = pair[1];
    *--end = pair[0];
  }
  if (value >= 10)
    *--end = digit_pairs[value * 2 + 1];
  *--end = value >= 10 ? digit_pairs[value * 2] : static_cast<char16_t>(u'0' + value);
  return end;
}

/// The same in the base that `flags` name, octal or hexadecimal, with its sign if they want one.
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
  if (shows_base && !is_octal)
    *--end = is_upper ? u'X' : u'x';
  if (shows_base)
    *--end = u'0';
  return end;
}

/// How many units of a number stand before the padding that goes inside it.
std::size_t prefix_size(std::u16string_view number) {
  if (number[0] == u'-' || number[0] == u'+')
    return 1;
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
  for (; missing > 0; missing -= static_cast<std::streamsize>(block.size()))
    out._M_put(block.data(), std::min(missing, static_cast<std::streamsize>(block.size())));
  number.remove_prefix(before);
  return out._M_put(number.data(), static_cast<std::streamsize>(number.size()));
}

/// Writes a finished number and uses the width up.
output put_number(output out, ios_base& io, char16_t fill, const char16_t* first, const char16_t* last) {
  const std::streamsize missing = io.width() - (last - first);
  io.width(0);
  if (missing > 0)
    return put_padded(out, io, fill, {first, last}, missing);
  return out._M_put(first, last - first);
}

template <class Integer>
output put_integer(output out, ios_base& io, char16_t fill, Integer value) {
  using unsigned_type = std::make_unsigned_t<Integer>;
  char16_t text[integer_size];
  char16_t* const end = std::end(text);
  const ios_base::fmtflags flags = io.flags();
  const ios_base::fmtflags base = flags & ios_base::basefield;
  const auto bits = static_cast<unsigned_type>(value);
  if (base == ios_base::oct || base == ios_base::hex)
    return put_number(out, io, fill, write_bits(bits, flags, end), end);
  if constexpr (std::is_unsigned_v<Integer>) {
    return put_number(out, io, fill, write_decimal(bits, end), end);
  } else {
    char16_t* first = write_decimal(value < 0 ? unsigned_type() - bits : bits, end);
    if (value < 0)
      *--first = u'-';
    else if ((flags & ios_base::showpos) != 0)
      *--first = u'+';
    return put_number(out, io, fill, first, end);
  }
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
  if ((flags & ios_base::showpos) != 0 && !std::signbit(value))
    *last++ = u'+';
  const char exponent = (flags & ios_base::uppercase) != 0 ? 'E' : 'e';
  for (const char* each = bytes; each != end; ++each)
    *last++ = static_cast<char16_t>(*each == 'e' ? exponent : *each);
  return put_number(out, io, fill, text, last);
}

bool is_left_to_template(const ios_base& io, double value) {
  constexpr auto hexfloat = ios_base::fixed | ios_base::scientific;
  const ios_base::fmtflags flags = io.flags();
  return (flags & ios_base::floatfield) == hexfloat || (flags & ios_base::showpoint) != 0 ||
         io.precision() > number_output::most_decimals || !std::isfinite(value) || !has_plain_punctuation(io);
}

}  // namespace

output number_output::do_put(output out, ios_base& io, char16_t fill, long value) const {
  return has_plain_punctuation(io) ? put_integer(out, io, fill, value) : num_put::do_put(out, io, fill, value);
}

output number_output::do_put(output out, ios_base& io, char16_t fill, unsigned long value) const {
  return has_plain_punctuation(io) ? put_integer(out, io, fill, value) : num_put::do_put(out, io, fill, value);
}

output number_output::do_put(output out, ios_base& io, char16_t fill, long long value) const {
  return has_plain_punctuation(io) ? put_integer(out, io, fill, value) : num_put::do_put(out, io, fill, value);
}

output number_output::do_put(output out, ios_base& io, char16_t fill, unsigned long long value) const {
  return has_plain_punctuation(io) ? put_integer(out, io, fill, value) : num_put::do_put(out, io, fill, value);
}

output number_output::do_put(output out, ios_base& io, char16_t fill, double value) const {
  return is_left_to_template(io, value) ? num_put::do_put(out, io, fill, value) : put_real(out, io, fill, value);
}

}  // namespace fl::i18n::facet
