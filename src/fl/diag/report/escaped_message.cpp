#include "diag/report/escaped_message.hpp"

#include "diag/simple_ostreambuf.hpp"

#include <ostream>

namespace foundation::core::diag {

namespace {

void write_escape(std::streambuf& to, char16_t unit) {
  to.sputc('\\');
  to.sputc('u');
  for (int shift = 12; shift >= 0; shift -= 4) {
    to.sputc("0123456789ABCDEF"[unit >> shift & 0xF]);
  }
}

}  // namespace

escaped_message::escaped_message(std::u16string_view message) {
  simple_ostreambuf to(text, sizeof text);
  for (const char16_t unit : message) {
    if (unit <= 127) {
      to.sputc(static_cast<char>(unit));
    } else {
      write_escape(to, unit);
    }
  }
}

}  // namespace foundation::core::diag
