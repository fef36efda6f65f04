#include <fl/mem/page.hpp>

#include "mem/page_mask.hpp"

const void* foundation::core::mem::get_page(const void* p) {
  // NOLINTNEXTLINE(performance-no-int-to-ptr): the pointer may be anything
  return reinterpret_cast<const void*>(reinterpret_cast<std::uintptr_t>(p) & page_mask);
}
