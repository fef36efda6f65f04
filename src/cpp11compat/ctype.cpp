// Classes and case of units: ASCII from the table of the C locale, and beyond it the breaking spaces.
#include <cpp11compat/char16_streams.hpp>

#include <algorithm>

namespace {

constexpr char16_t ascii_end = 0x80;

bool is_space_beyond_ascii(char16_t unit) {
  if (unit >= 0x2000 && unit <= 0x200A) {
    return unit != 0x2007;  // A figure space does not break.
  }
  return unit == 0x85 || unit == 0x1680 || unit == 0x2028 || unit == 0x2029 || unit == 0x205F || unit == 0x3000;
}

std::ctype_base::mask classes_of(char16_t unit) {
  if (unit < ascii_end) {
    return std::ctype<char>::classic_table()[unit];
  }
  return is_space_beyond_ascii(unit) ? std::ctype_base::space : std::ctype_base::mask();
}

char16_t to_upper(char16_t unit) {
  return unit >= u'a' && unit <= u'z' ? static_cast<char16_t>(unit - u'a' + u'A') : unit;
}

char16_t to_lower(char16_t unit) {
  return unit >= u'A' && unit <= u'Z' ? static_cast<char16_t>(unit - u'A' + u'a') : unit;
}

char16_t to_wide(char byte) {
  return static_cast<unsigned char>(byte);
}

}  // namespace

namespace std {

template <>
ctype<char16_t>::~ctype() = default;

template <>
bool ctype<char16_t>::do_is(mask classes, char16_t unit) const {
  return (classes_of(unit) & classes) != 0;
}

template <>
const char16_t* ctype<char16_t>::do_is(const char16_t* first, const char16_t* last, mask* classes) const {
  transform(first, last, classes, classes_of);
  return last;
}

template <>
const char16_t* ctype<char16_t>::do_scan_is(mask classes, const char16_t* first, const char16_t* last) const {
  return find_if(first, last, [classes](char16_t unit) { return (classes_of(unit) & classes) != 0; });
}

template <>
const char16_t* ctype<char16_t>::do_scan_not(mask classes, const char16_t* first, const char16_t* last) const {
  return find_if(first, last, [classes](char16_t unit) { return (classes_of(unit) & classes) == 0; });
}

template <>
char16_t ctype<char16_t>::do_toupper(char16_t unit) const {
  return to_upper(unit);
}

template <>
const char16_t* ctype<char16_t>::do_toupper(char16_t* first, const char16_t* last) const {
  transform(const_cast<const char16_t*>(first), last, first, to_upper);
  return last;
}

template <>
char16_t ctype<char16_t>::do_tolower(char16_t unit) const {
  return to_lower(unit);
}

template <>
const char16_t* ctype<char16_t>::do_tolower(char16_t* first, const char16_t* last) const {
  transform(const_cast<const char16_t*>(first), last, first, to_lower);
  return last;
}

template <>
char16_t ctype<char16_t>::do_widen(char byte) const {
  return to_wide(byte);
}

template <>
const char* ctype<char16_t>::do_widen(const char* first, const char* last, char16_t* units) const {
  transform(first, last, units, to_wide);
  return last;
}

template <>
char ctype<char16_t>::do_narrow(char16_t unit, char otherwise) const {
  return unit < ascii_end ? static_cast<char>(unit) : otherwise;
}

template <>
const char16_t* ctype<char16_t>::do_narrow(const char16_t* first, const char16_t* last, char otherwise,
                                           char* bytes) const {
  transform(first, last, bytes,
            [otherwise](char16_t unit) { return unit < ascii_end ? static_cast<char>(unit) : otherwise; });
  return last;
}

}  // namespace std
