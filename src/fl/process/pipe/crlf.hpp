// Line ends of text-mode input: what stands in the pipe as carriage return and line feed is one "\n" for the reader.
//
// A pure function over a buffer, so callable from any thread. It knows nothing of pipes; what becomes of a carriage
// return whose successor has not arrived yet is for the caller to decide.
#pragma once

#include <cstddef>

namespace foundation::core::process::detail {

/// What `translate_crlf` left in the buffer.
struct translated_text {
  std::size_t length = 0;                ///< bytes of the result, at the start of the buffer
  bool ends_in_carriage_return = false;  ///< the input's last byte was a carriage return; `length` does not count it
};

/// Removes, in place, each carriage return that a line feed follows directly. Every other carriage return is data and
/// stays, except one at the very end: whether it is data is not known yet, so it is cut off and reported. Neither reads
/// nor writes outside the `length` bytes at `text`; what lies behind the result is unspecified afterwards.
translated_text translate_crlf(char* text, std::size_t length) noexcept;

}  // namespace foundation::core::process::detail
