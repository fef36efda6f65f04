// What `get_page` computes with.
#pragma once

#include <cstdint>

namespace foundation::core::mem {

/// The two's complement of the page size: the bits in which pages differ. Set when the library loads, in load.cpp.
extern const std::uintptr_t page_mask;

}  // namespace foundation::core::mem
