// The one unit of the library with an arena in it.
#include "mem/arena_heap.hpp"

#include <dlmalloc/malloc.hpp>

#include "mem/pointer_check.hpp"

namespace foundation::core::mem::detail {

static_assert(dlmalloc::block_alignment == default_alignment);

void dlmalloc_ops::check(const void* p) const {
  check_bare_pointer(alignment_, p);
}

void* dlmalloc_ops::malloc(std::size_t size) {
  return dlmalloc::dlmalloc(size);
}

void* dlmalloc_ops::calloc(std::size_t count, std::size_t size) {
  return dlmalloc::dlcalloc(count, size);
}

void* dlmalloc_ops::realloc(void* p, std::size_t size) {
  return dlmalloc::dlrealloc(p, size);
}

void dlmalloc_ops::free(void* p) {
  dlmalloc::dlfree(p);
}

}  // namespace foundation::core::mem::detail
