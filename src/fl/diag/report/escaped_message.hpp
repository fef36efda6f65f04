// UTF-16 text as ASCII, for messages of a dying process.
#pragma once

#include <cstddef>
#include <string_view>

namespace foundation::core::diag {

/// The text with every unit above 127 as "\u" and four upper-case hexadecimal digits, cut at 511 bytes, wherever that
/// is. Needs no heap.
struct escaped_message {
  explicit escaped_message(std::u16string_view message);

  char text[512] = {};  ///< zero-terminated
};

}  // namespace foundation::core::diag
