// A stream buffer over a caller's array that never fails: what does not fit is dropped.
#pragma once

#include <cstddef>
#include <streambuf>

namespace foundation::core::diag {

/// Writes to all but the last byte of the array, so that one that was zero-filled stays zero-terminated.
class simple_ostreambuf : public std::streambuf {
 public:
  /// `size` is not 0.
  simple_ostreambuf(char* array, std::size_t size) { setp(array, array + size - 1); }

 protected:
  int_type overflow(int_type c) override { return traits_type::not_eof(c); }
};

}  // namespace foundation::core::diag
