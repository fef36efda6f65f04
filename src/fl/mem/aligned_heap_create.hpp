// How the memory manager makes the aligned heap. Implemented in alignment.cpp.
#pragma once

#include <boost/smart_ptr/shared_ptr.hpp>

#include <cstddef>

namespace foundation::core::mem::detail {

/// In bytes; what holds unless the environment says otherwise.
inline constexpr std::size_t default_alignment = 32;

/// Makes the heap that QX_ALIGNED_HEAP_ALIGNMENT and `debug` (whether pointers are checked) ask for. It is
/// `aligned_heap::instance` until the last owner of the result goes. Throws `boost::bad_lexical_cast` if the variable
/// has a text that is no number, and `std::bad_alloc`.
boost::shared_ptr<void> aligned_heap_create(bool debug);

}  // namespace foundation::core::mem::detail
