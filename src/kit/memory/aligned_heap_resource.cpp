#include <fl/mem/aligned_heap.hpp>

#include "memory/over_aligned.hpp"

#include <kit/aligned_block.hpp>
#include <kit/aligned_heap_resource.hpp>

#include <new>

namespace foundation::kit {

namespace {

class heap_resource final : public std::pmr::memory_resource {
  void* do_allocate(std::size_t size, std::size_t alignment) override {
    detail::require_power_of_two(alignment);
    if (alignment <= core::mem::vector_alignment()) {
      return detail::allocate_aligned(size);
    }
    return detail::over_align(detail::allocate_aligned(detail::over_aligned_size(size, alignment)), alignment);
  }

  void do_deallocate(void* block, std::size_t, std::size_t alignment) override {
    core::mem::vector_free(alignment <= core::mem::vector_alignment() ? block : detail::heap_block_of(block));
  }

  bool do_is_equal(const std::pmr::memory_resource& other) const noexcept override { return this == &other; }
};

}  // namespace

std::pmr::memory_resource* aligned_heap_resource() noexcept {
  // Never destroyed: objects that are destroyed last may still give blocks back.
  alignas(heap_resource) static unsigned char place[sizeof(heap_resource)];
  static std::pmr::memory_resource* const only = ::new (place) heap_resource;
  return only;
}

}  // namespace foundation::kit
