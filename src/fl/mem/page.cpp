#include <fl/mem/page.hpp>

#include "mem/page_mask.hpp"

const void* foundation::core::mem::get_page(const void* p) {
  return reinterpret_cast<const void*>(reinterpret_cast<std::uintptr_t>(p) & page_mask);
}
