// Blocks that go to and come from a stream buffer, as the templates of the run-time library have it, but with a copy
// that is quick for numbers and words when they are written, and without harm to U+FFFF.
#include <cpp11compat/char16_streams.hpp>

#include "copy_units.hpp"

#include <algorithm>
#include <limits>

namespace std {

namespace {

/// The traits replace it on its way into `overflow` and out of `uflow`: as a number it would look like the end of the
/// file.
constexpr char16_t not_a_character = u'\uFFFF', replacement = u'\uFFFD';

}  // namespace

template <>
streamsize basic_streambuf<char16_t>::xsputn(const char16_t* units, streamsize count) {
  constexpr streamsize most = numeric_limits<int>::max();
  streamsize written = 0;
  while (written < count) {
    const streamsize block = min({count - written, static_cast<streamsize>(epptr() - pptr()), most});
    if (block > 0) {
      cpp11compat::copy_units(pptr(), units + written, static_cast<size_t>(block));
      pbump(static_cast<int>(block));
      written += block;
    } else {
      if (traits_type::eq_int_type(overflow(traits_type::to_int_type(units[written])), traits_type::eof())) {
        break;
      }
      if (units[written] == not_a_character && pptr() != pbase() && pptr()[-1] == replacement) {
        pptr()[-1] = not_a_character;
      }
      ++written;
    }
  }
  return written;
}

template <>
streamsize basic_streambuf<char16_t>::xsgetn(char16_t* units, streamsize count) {
  constexpr streamsize most = numeric_limits<int>::max();
  streamsize taken = 0;
  while (taken < count) {
    const streamsize block = min({count - taken, static_cast<streamsize>(egptr() - gptr()), most});
    if (block > 0) {
      traits_type::copy(units + taken, gptr(), static_cast<size_t>(block));
      gbump(static_cast<int>(block));
      taken += block;
    } else {
      const int_type next = uflow();
      if (traits_type::eq_int_type(next, traits_type::eof())) {
        break;
      }
      units[taken] = traits_type::to_char_type(next);
      if (units[taken] == replacement && gptr() != eback() && gptr()[-1] == not_a_character) {
        units[taken] = not_a_character;
      }
      ++taken;
    }
  }
  return taken;
}

}  // namespace std
