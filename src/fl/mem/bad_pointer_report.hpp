// How the process ends over a pointer that is none of the aligned heap's: by `diag::terminate`, with what the pointer,
// and its header if that can be read, look like.
//
// Cold and out of line, so that a good pointer pays nothing for it. If memory ends on the way, the report is shorter.
#pragma once

#include <cstddef>

namespace foundation::core::mem::detail {

/// For a pointer from a client. `p` may be anything; `size`: the bytes that were asked for, or 0; `label`: the client's
/// function, such as "vector_free".
[[noreturn, gnu::cold]] void report_bad_passed_pointer(std::size_t alignment, const void* p, std::size_t size,
                                                       const char* label);

/// For a pointer that was about to go to a client.
[[noreturn, gnu::cold]] void report_bad_returned_pointer(std::size_t alignment, const void* p, std::size_t size,
                                                         const char* label);

/// For a pointer from a client to the "vector_check" of a heap without headers.
[[noreturn, gnu::cold]] void report_bad_bare_pointer(std::size_t alignment, const void* p);

}  // namespace foundation::core::mem::detail
