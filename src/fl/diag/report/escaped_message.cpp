#include "diag/report/escaped_message.hpp"

namespace foundation::core::diag {

// Without a stream buffer: making one can wait for a lock, as making a stream can.
escaped_message::escaped_message(std::u16string_view message) {
  char* next = text;
  const auto put = [&](char c) {
    if (next != text + sizeof text - 1) {
      *next++ = c;
    }
  };
  for (const char16_t unit : message) {
    if (unit <= 127) {
      put(static_cast<char>(unit));
      continue;
    }
    put('\\');
    put('u');
    for (int shift = 12; shift >= 0; shift -= 4) {
      put("0123456789ABCDEF"[unit >> shift & 0xF]);
    }
  }
}

}  // namespace foundation::core::diag
