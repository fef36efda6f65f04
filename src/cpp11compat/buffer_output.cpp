// Writing of blocks to a stream buffer, as the template of the run-time library does it, but with a copy that is quick
// for numbers and words.
#include <cpp11compat/char16_streams.hpp>

#include "copy_units.hpp"

#include <algorithm>
#include <limits>

namespace std {

namespace {

/// The traits replace it on its way into `overflow`: as a number it would look like the end of the file.
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

}  // namespace std
