// The string streams as a client that is compiled as C++17 sees them: `str` has another decorated name there.
#include <cpp11compat/char16_streams.hpp>

template class std::basic_stringbuf<char16_t>;
template class std::basic_istringstream<char16_t>;
template class std::basic_ostringstream<char16_t>;
template class std::basic_stringstream<char16_t>;
