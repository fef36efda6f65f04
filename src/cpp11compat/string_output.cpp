// Output of strings. Without a width there is nothing to pad, and mostly nothing for a `sentry` to do: then the text
// goes to the buffer at once.
#include <cpp11compat/char16_streams.hpp>

#include <string_view>

namespace {

std::basic_ostream<char16_t>& insert(std::basic_ostream<char16_t>& out, std::u16string_view text) {
  const auto size = static_cast<std::streamsize>(text.size());
  if (!out.good() || out.width() != 0 || out.tie() != nullptr || (out.flags() & std::ios_base::unitbuf) != 0) {
    return std::__ostream_insert(out, text.data(), size);
  }
  bool refused = false;
  try {
    refused = out.rdbuf()->sputn(text.data(), size) != size;
  } catch (...) {
    out._M_setstate(std::ios_base::badbit);  // Rethrows if the user asked for exceptions.
  }
  if (refused) {
    out.setstate(std::ios_base::badbit);
  }
  return out;
}

}  // namespace

namespace std {

template <>
basic_ostream<char16_t>& operator<<(basic_ostream<char16_t>& out, const u16string& text) {
  return insert(out, text);
}

template <>
basic_ostream<char16_t>& operator<<(basic_ostream<char16_t>& out, const char16_t* text) {
  if (text != nullptr) {
    return insert(out, text);
  }
  out.setstate(ios_base::badbit);
  return out;
}

}  // namespace std
