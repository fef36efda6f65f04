// The aligned heap (<fl/mem/aligned_heap.hpp>) for the containers of `std::pmr`:
//
//   std::pmr::vector<float> lanes(1024, kit::aligned_heap_resource());
//
// Each block starts on the heap's boundary, 32 bytes unless the environment says otherwise, whatever alignment is asked
// for; one above that costs as many bytes more.
//
// Thread safety: any thread, at any time.
#pragma once

#include <kit/export.hpp>

#include <memory_resource>

namespace foundation::kit {

/// The one there is, which lives until the process ends. Not null, and it throws nothing.
///
/// `allocate` throws `std::bad_alloc` if memory is exhausted or the size cannot be, `std::invalid_argument` for an
/// alignment that is no power of two, and what the making of the memory manager throws. With the memory manager's
/// option "aligncheck", a block that goes back twice, or never came from there, ends the process.
KIT_API std::pmr::memory_resource* aligned_heap_resource() noexcept;

}  // namespace foundation::kit
