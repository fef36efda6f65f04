// Input of strings. The templates of the run-time library read one unit at a time from the buffer of a stream; these
// read what the buffer has ready as a block, and single units only from a buffer that never has any ready.
//
// The get area of a buffer is open to the functions that read strings and to nobody else, hence their length.
#include <cpp11compat/char16_streams.hpp>

#include "find_unit.hpp"

#include <algorithm>
#include <limits>

namespace {

using traits = std::char_traits<char16_t>;

bool is_end(traits::int_type got) {
  return traits::eq_int_type(got, traits::eof());
}

/// How many units of the `ready` ones may be read at once: no more than `room`, and than a buffer can skip.
std::size_t block_size(std::ptrdiff_t ready, std::size_t room) {
  constexpr std::size_t most = std::numeric_limits<int>::max();
  return std::min({static_cast<std::size_t>(ready), room, most});
}

}  // namespace

namespace std {

template <>
basic_istream<char16_t>& getline(basic_istream<char16_t>& in, u16string& line, char16_t delimiter) {
  bool extracted = false;
  ios_base::iostate state = ios_base::goodbit;
  const basic_istream<char16_t>::sentry entered(in, true);
  if (entered) {
    try {
      line.clear();
      basic_streambuf<char16_t>& buffer = *in.rdbuf();
      for (;;) {
        const traits::int_type next = buffer.sgetc();
        if (is_end(next)) {
          state |= ios_base::eofbit;
          break;
        }
        const ptrdiff_t ready = buffer.egptr() - buffer.gptr();
        const char16_t unit = ready > 0 ? *buffer.gptr() : traits::to_char_type(next);
        if (unit == delimiter) {
          buffer.sbumpc();
          extracted = true;
          break;
        }
        const size_t room = line.max_size() - line.size();
        if (room == 0) {
          state |= ios_base::failbit;
          break;
        }
        if (ready > 0) {
          const char16_t* const first = buffer.gptr();
          const char16_t* const last = cpp11compat::find_unit(first, first + block_size(ready, room), delimiter);
          line.append(first, static_cast<size_t>(last - first));
          buffer.gbump(static_cast<int>(last - first));
        } else {
          line.push_back(unit);
          buffer.sbumpc();
        }
        extracted = true;
      }
    } catch (...) {
      in._M_setstate(ios_base::badbit);  // Rethrows if the user asked for exceptions.
    }
  }
  if (!extracted) {
    state |= ios_base::failbit;
  }
  if (state != ios_base::goodbit) {
    in.setstate(state);
  }
  return in;
}

template <>
basic_istream<char16_t>& operator>>(basic_istream<char16_t>& in, u16string& word) {
  bool extracted = false;
  ios_base::iostate state = ios_base::goodbit;
  const basic_istream<char16_t>::sentry entered(in, false);
  if (entered) {
    try {
      word.clear();
      const auto& classes = use_facet<ctype<char16_t>>(in.getloc());
      const size_t most = in.width() > 0 ? static_cast<size_t>(in.width()) : word.max_size();
      basic_streambuf<char16_t>& buffer = *in.rdbuf();
      while (word.size() < most) {
        const traits::int_type next = buffer.sgetc();
        if (is_end(next)) {
          state |= ios_base::eofbit;
          break;
        }
        const ptrdiff_t ready = buffer.egptr() - buffer.gptr();
        const char16_t single = traits::to_char_type(next);
        const char16_t* const first = ready > 0 ? buffer.gptr() : &single;
        const char16_t* const end = first + (ready > 0 ? block_size(ready, most - word.size()) : 1);
        const char16_t* const last = classes.scan_is(ctype_base::space, first, end);
        word.append(first, last);
        extracted |= last != first;
        if (ready > 0) {
          buffer.gbump(static_cast<int>(last - first));
        } else if (last != first) {
          buffer.sbumpc();
        }
        if (last != end) {
          break;
        }
      }
      in.width(0);
    } catch (...) {
      in._M_setstate(ios_base::badbit);
    }
  }
  if (!extracted) {
    state |= ios_base::failbit;
  }
  if (state != ios_base::goodbit) {
    in.setstate(state);
  }
  return in;
}

}  // namespace std
