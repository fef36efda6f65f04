// The one copy of the `char16_t` streams and of the ids of their facets. Compiled as C++17, in which the strings of the
// run-time library are used from there: as C++20 this unit would hold, and the DLL export, copies of their functions.
#include <cpp11compat/char16_streams.hpp>

namespace std {

template class ctype<char16_t>;
template class numpunct<char16_t>;
template struct __numpunct_cache<char16_t>;
template class num_get<char16_t>;
template class num_put<char16_t>;

template const ctype<char16_t>& use_facet<ctype<char16_t>>(const locale&);
template const numpunct<char16_t>& use_facet<numpunct<char16_t>>(const locale&);
template const num_get<char16_t>& use_facet<num_get<char16_t>>(const locale&);
template const num_put<char16_t>& use_facet<num_put<char16_t>>(const locale&);
template bool has_facet<ctype<char16_t>>(const locale&);
template bool has_facet<numpunct<char16_t>>(const locale&);
template bool has_facet<num_get<char16_t>>(const locale&);
template bool has_facet<num_put<char16_t>>(const locale&);

template class basic_streambuf<char16_t>;
template class basic_ios<char16_t>;

template class basic_ostream<char16_t>;
template basic_ostream<char16_t>& basic_ostream<char16_t>::_M_insert(bool);
template basic_ostream<char16_t>& basic_ostream<char16_t>::_M_insert(long);
template basic_ostream<char16_t>& basic_ostream<char16_t>::_M_insert(unsigned long);
template basic_ostream<char16_t>& basic_ostream<char16_t>::_M_insert(long long);
template basic_ostream<char16_t>& basic_ostream<char16_t>::_M_insert(unsigned long long);
template basic_ostream<char16_t>& basic_ostream<char16_t>::_M_insert(double);
template basic_ostream<char16_t>& basic_ostream<char16_t>::_M_insert(long double);
template basic_ostream<char16_t>& basic_ostream<char16_t>::_M_insert(const void*);
template basic_ostream<char16_t>& __ostream_insert(basic_ostream<char16_t>&, const char16_t*, streamsize);
template basic_ostream<char16_t>& operator<<(basic_ostream<char16_t>&, char16_t);
template basic_ostream<char16_t>& operator<<(basic_ostream<char16_t>&, char);
template basic_ostream<char16_t>& operator<<(basic_ostream<char16_t>&, const char*);
template basic_ostream<char16_t>& endl(basic_ostream<char16_t>&);
template basic_ostream<char16_t>& ends(basic_ostream<char16_t>&);
template basic_ostream<char16_t>& flush(basic_ostream<char16_t>&);

template class basic_istream<char16_t>;
template basic_istream<char16_t>& basic_istream<char16_t>::_M_extract(bool&);
template basic_istream<char16_t>& basic_istream<char16_t>::_M_extract(unsigned short&);
template basic_istream<char16_t>& basic_istream<char16_t>::_M_extract(unsigned int&);
template basic_istream<char16_t>& basic_istream<char16_t>::_M_extract(long&);
template basic_istream<char16_t>& basic_istream<char16_t>::_M_extract(unsigned long&);
template basic_istream<char16_t>& basic_istream<char16_t>::_M_extract(long long&);
template basic_istream<char16_t>& basic_istream<char16_t>::_M_extract(unsigned long long&);
template basic_istream<char16_t>& basic_istream<char16_t>::_M_extract(float&);
template basic_istream<char16_t>& basic_istream<char16_t>::_M_extract(double&);
template basic_istream<char16_t>& basic_istream<char16_t>::_M_extract(long double&);
template basic_istream<char16_t>& basic_istream<char16_t>::_M_extract(void*&);
template void __istream_extract(basic_istream<char16_t>&, char16_t*, streamsize);
template basic_istream<char16_t>& operator>>(basic_istream<char16_t>&, char16_t&);
template basic_istream<char16_t>& getline(basic_istream<char16_t>&, u16string&);
template basic_istream<char16_t>& ws(basic_istream<char16_t>&);

template class basic_iostream<char16_t>;

}  // namespace std
