// Whether a pointer is that of a block of the aligned heap. One that is not ends the process (bad_pointer_report.hpp).
// Inline, since with checks every call of the heap goes through here.
#pragma once

#include "mem/bad_pointer_report.hpp"
#include "mem/block_header.hpp"
#include "mem/page_mask.hpp"

namespace foundation::core::mem::detail {

/// `alignment`: a power of two.
inline bool is_multiple_of(std::size_t alignment, const void* p) {
  return (address(p) & (alignment - 1)) == 0;
}

inline bool lies_in_page_zero(const void* p) {
  return (address(p) & page_mask) == 0;
}

/// What is found in a header must be what was written there. That its alignment is a legal one needs no test: the
/// heap's is.
inline bool is_sound(std::size_t alignment, const void* p) {
  if (!is_multiple_of(native_alignment, p) || lies_in_page_zero(header_of(p))) {
    return false;
  }
  const header& h = *header_of(p);
  return h.check == live_mark && h.size >= native_alignment && h.size % native_alignment == 0 &&
         h.alignment == alignment && is_multiple_of(alignment, p) && h.offset >= native_alignment &&
         h.offset <= alignment && h.offset % native_alignment == 0;
}

/// For a pointer that comes from a client: returns only if it is good.
inline header* check_passed_pointer(std::size_t alignment, const void* p, std::size_t size, const char* label) {
  if (!is_sound(alignment, p)) [[unlikely]] {
    report_bad_passed_pointer(alignment, p, size, label);
  }
  return header_of(p);
}

/// For a pointer that goes to a client: returns it if it is good, or null, which is exhaustion.
inline void* check_returned_pointer(std::size_t alignment, void* p, std::size_t size, const char* label) {
  if (p != nullptr && !is_sound(alignment, p)) [[unlikely]] {
    report_bad_returned_pointer(alignment, p, size, label);
  }
  return p;
}

/// For a pointer of a heap without headers.
inline void check_bare_pointer(std::size_t alignment, const void* p) {
  if (!is_multiple_of(alignment, p)) [[unlikely]] {
    report_bad_bare_pointer(alignment, p);
  }
}

}  // namespace foundation::core::mem::detail
