// The system's pages of memory. Any thread, at any time.
#pragma once

#include <fl/export.hpp>

#include <cstddef>

namespace foundation::core::mem {

/// The start of the page that `p` points into, which is null for an address in the first page. Plain arithmetic: the
/// memory is not touched, and `p` may be anything.
FL_API const void* get_page(const void* p);

/// In bytes, a power of two; asked of the system at each call.
FL_API std::size_t get_page_size();

}  // namespace foundation::core::mem
