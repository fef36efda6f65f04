// The standard streams for `char16_t`.
//
// The run-time library of the compiler holds the stream classes for `char` and `wchar_t` only. For any other character
// type each module makes its own copy from the templates, and the copies do not work together: the `id` of a facet,
// under which a locale keeps it, would be another object in each DLL, so that a facet that one module puts into a
// locale is not found by the next; and the general templates of `std::ctype` and `std::numpunct` are not even complete.
// This library holds the one copy for `char16_t`, complete, and this header says so to the compiler:
//
//     #include <cpp11compat/char16_streams.hpp>      // and link qxfl::cpp11compat
//
//     std::basic_ostringstream<char16_t> out;
//     out.imbue(fl::i18n::facet::get_global_std_locale());  // i18n/facet.hpp
//     out << 42 << u" " << 3.5;
//
// Include it in every source file that uses a `char16_t` stream, directly or through the headers of such streams,
// before the first use. A file that does not gets a copy of its own module again: it compiles, and then `<<` and `>>`
// of numbers fail in it with `badbit`, `std::use_facet` throws `std::bad_cast` and text is read one unit at a time. The
// linker may give that copy to other files of the module too.
//
// A locale must hold the facets before a stream can format, read or skip white space: those of a program's global
// locale do not include them. Streams without them can pass text and blocks of units.
//
// What the facets say:
//  - `std::ctype<char16_t>`: U+0000 to U+007F as in the C locale. Beyond them the spaces of Unicode at which a line may
//    be broken count as `space` (U+0085, U+1680, U+2000 to U+200A without U+2007, U+2028, U+2029, U+205F, U+3000), and
//    nothing belongs to any other class or has another case. `widen` gives the unit with the number of the byte, so
//    Latin-1; `narrow` gives the byte up to U+007F and the default beyond.
//  - `std::numpunct<char16_t>`: as in the C locale, `.`, no grouping, `true` and `false`.
//  - `std::num_put<char16_t>`, `std::num_get<char16_t>`: numbers as the general templates write and read them over
//    these, or over what another locale has in their place. Integers and doubles are written by a shorter road.
// Money, times, collation and file buffers of `char16_t` are not here.
//
// Implemented by what it is about: ctype.cpp, numpunct.cpp, number_output.cpp, buffer_output.cpp, string_output.cpp,
// string_input.cpp; instantiations.cpp, string_streams.cpp and string_streams_cxx17.cpp hold the rest.
//
// Thread safety: facets are immutable; for the streams, one thread at a time per stream.
#pragma once

#include <istream>
#include <locale>
#include <ostream>
#include <sstream>
#include <streambuf>
#include <string>

namespace std {

// What the general templates leave out or do poorly. Declared before anything makes an instance of them.

template <>
ctype<char16_t>::~ctype();
template <>
bool ctype<char16_t>::do_is(mask classes, char16_t unit) const;
template <>
const char16_t* ctype<char16_t>::do_is(const char16_t* first, const char16_t* last, mask* classes) const;
template <>
const char16_t* ctype<char16_t>::do_scan_is(mask classes, const char16_t* first, const char16_t* last) const;
template <>
const char16_t* ctype<char16_t>::do_scan_not(mask classes, const char16_t* first, const char16_t* last) const;
template <>
char16_t ctype<char16_t>::do_toupper(char16_t unit) const;
template <>
const char16_t* ctype<char16_t>::do_toupper(char16_t* first, const char16_t* last) const;
template <>
char16_t ctype<char16_t>::do_tolower(char16_t unit) const;
template <>
const char16_t* ctype<char16_t>::do_tolower(char16_t* first, const char16_t* last) const;
template <>
char16_t ctype<char16_t>::do_widen(char byte) const;
template <>
const char* ctype<char16_t>::do_widen(const char* first, const char* last, char16_t* units) const;
template <>
char ctype<char16_t>::do_narrow(char16_t unit, char otherwise) const;
template <>
const char16_t* ctype<char16_t>::do_narrow(const char16_t* first, const char16_t* last, char otherwise,
                                           char* bytes) const;

template <>
numpunct<char16_t>::~numpunct();
template <>
void numpunct<char16_t>::_M_initialize_numpunct(__c_locale native);  // NOLINT(bugprone-reserved-identifier)

template <>
num_put<char16_t>::iter_type num_put<char16_t>::do_put(iter_type out, ios_base& io, char16_t fill, long value) const;
template <>
num_put<char16_t>::iter_type num_put<char16_t>::do_put(iter_type out, ios_base& io, char16_t fill,
                                                       unsigned long value) const;
template <>
num_put<char16_t>::iter_type num_put<char16_t>::do_put(iter_type out, ios_base& io, char16_t fill,
                                                       long long value) const;
template <>
num_put<char16_t>::iter_type num_put<char16_t>::do_put(iter_type out, ios_base& io, char16_t fill,
                                                       unsigned long long value) const;
template <>
num_put<char16_t>::iter_type num_put<char16_t>::do_put(iter_type out, ios_base& io, char16_t fill, double value) const;

/// Both keep U+FFFF, of which the traits make U+FFFD where a unit is a number.
template <>
streamsize basic_streambuf<char16_t>::xsputn(const char16_t* units, streamsize count);
template <>
streamsize basic_streambuf<char16_t>::xsgetn(char16_t* units, streamsize count);

/// In line, since `<<` of a single unit comes here: without a `sentry` where that would do nothing. U+FFFF goes as a
/// text does: on the way of a single unit the traits make U+FFFD of it.
template <>
inline basic_ostream<char16_t>& basic_ostream<char16_t>::put(char16_t unit) {
  if (!good() || tie() != nullptr || (flags() & ios_base::unitbuf) != 0 || unit == u'\uFFFF') {
    return write(&unit, 1);
  }
  bool refused = false;
  try {
    refused = traits_type::eq_int_type(rdbuf()->sputc(unit), traits_type::eof());
  } catch (...) {
    _M_setstate(ios_base::badbit);  // Rethrows if the user asked for exceptions.
  }
  if (refused) {
    setstate(ios_base::badbit);
  }
  return *this;
}

/// Both hand the text to the stream's buffer at once if there is nothing else to do.
template <>
basic_ostream<char16_t>& operator<<(basic_ostream<char16_t>& out, const u16string& text);
template <>
basic_ostream<char16_t>& operator<<(basic_ostream<char16_t>& out, const char16_t* text);

/// Both read from the stream's buffer in blocks.
template <>
basic_istream<char16_t>& operator>>(basic_istream<char16_t>& in, u16string& word);
template <>
basic_istream<char16_t>& getline(basic_istream<char16_t>& in, u16string& line, char16_t delimiter);

// What the library holds.

extern template class ctype<char16_t>;
extern template class numpunct<char16_t>;
extern template struct __numpunct_cache<char16_t>;
extern template class num_get<char16_t>;
extern template class num_put<char16_t>;

extern template const ctype<char16_t>& use_facet<ctype<char16_t>>(const locale&);
extern template const numpunct<char16_t>& use_facet<numpunct<char16_t>>(const locale&);
extern template const num_get<char16_t>& use_facet<num_get<char16_t>>(const locale&);
extern template const num_put<char16_t>& use_facet<num_put<char16_t>>(const locale&);
extern template bool has_facet<ctype<char16_t>>(const locale&);
extern template bool has_facet<numpunct<char16_t>>(const locale&);
extern template bool has_facet<num_get<char16_t>>(const locale&);
extern template bool has_facet<num_put<char16_t>>(const locale&);

extern template class basic_streambuf<char16_t>;
extern template class basic_ios<char16_t>;

extern template class basic_ostream<char16_t>;
extern template basic_ostream<char16_t>& basic_ostream<char16_t>::_M_insert(bool);
extern template basic_ostream<char16_t>& basic_ostream<char16_t>::_M_insert(long);
extern template basic_ostream<char16_t>& basic_ostream<char16_t>::_M_insert(unsigned long);
extern template basic_ostream<char16_t>& basic_ostream<char16_t>::_M_insert(long long);
extern template basic_ostream<char16_t>& basic_ostream<char16_t>::_M_insert(unsigned long long);
extern template basic_ostream<char16_t>& basic_ostream<char16_t>::_M_insert(double);
extern template basic_ostream<char16_t>& basic_ostream<char16_t>::_M_insert(long double);
extern template basic_ostream<char16_t>& basic_ostream<char16_t>::_M_insert(const void*);
extern template basic_ostream<char16_t>& __ostream_insert(basic_ostream<char16_t>&, const char16_t*, streamsize);
extern template basic_ostream<char16_t>& operator<<(basic_ostream<char16_t>&, char16_t);
extern template basic_ostream<char16_t>& operator<<(basic_ostream<char16_t>&, char);
extern template basic_ostream<char16_t>& operator<<(basic_ostream<char16_t>&, const char*);
extern template basic_ostream<char16_t>& endl(basic_ostream<char16_t>&);
extern template basic_ostream<char16_t>& ends(basic_ostream<char16_t>&);
extern template basic_ostream<char16_t>& flush(basic_ostream<char16_t>&);

extern template class basic_istream<char16_t>;
extern template basic_istream<char16_t>& basic_istream<char16_t>::_M_extract(bool&);
extern template basic_istream<char16_t>& basic_istream<char16_t>::_M_extract(unsigned short&);
extern template basic_istream<char16_t>& basic_istream<char16_t>::_M_extract(unsigned int&);
extern template basic_istream<char16_t>& basic_istream<char16_t>::_M_extract(long&);
extern template basic_istream<char16_t>& basic_istream<char16_t>::_M_extract(unsigned long&);
extern template basic_istream<char16_t>& basic_istream<char16_t>::_M_extract(long long&);
extern template basic_istream<char16_t>& basic_istream<char16_t>::_M_extract(unsigned long long&);
extern template basic_istream<char16_t>& basic_istream<char16_t>::_M_extract(float&);
extern template basic_istream<char16_t>& basic_istream<char16_t>::_M_extract(double&);
extern template basic_istream<char16_t>& basic_istream<char16_t>::_M_extract(long double&);
extern template basic_istream<char16_t>& basic_istream<char16_t>::_M_extract(void*&);
extern template void __istream_extract(basic_istream<char16_t>&, char16_t*, streamsize);
extern template basic_istream<char16_t>& operator>>(basic_istream<char16_t>&, char16_t&);
extern template basic_istream<char16_t>& getline(basic_istream<char16_t>&, u16string&);
extern template basic_istream<char16_t>& ws(basic_istream<char16_t>&);

extern template class basic_iostream<char16_t>;
extern template class basic_stringbuf<char16_t>;
extern template class basic_istringstream<char16_t>;
extern template class basic_ostringstream<char16_t>;
extern template class basic_stringstream<char16_t>;

}  // namespace std
