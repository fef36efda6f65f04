// The string streams as C++20 has them, with `view`, with `str` that moves and with constructors that take an
// allocator.
#include <cpp11compat/char16_streams.hpp>

template class std::basic_stringbuf<char16_t>;
template class std::basic_istringstream<char16_t>;
template class std::basic_ostringstream<char16_t>;
template class std::basic_stringstream<char16_t>;
