#include "arena_ours.hpp"

#include <dlmalloc/malloc.hpp>

namespace bench {

void* arena::allocate(std::size_t size) {
  return foundation::core::mem::dlmalloc::dlmalloc(size);
}

void arena::free(void* block) {
  foundation::core::mem::dlmalloc::dlfree(block);
}

std::size_t arena::peak_footprint() {
  return foundation::core::mem::dlmalloc::dlmalloc_max_footprint();
}

}  // namespace bench
