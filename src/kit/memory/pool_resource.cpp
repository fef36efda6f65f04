#include <kit/pool_resource.hpp>

#include <stdexcept>

namespace foundation::kit {

pool_resource::pool_resource(std::size_t chunk_size, std::size_t initial_chunks, std::pmr::memory_resource* upstream)
    : pool_(chunk_size, initial_chunks), upstream_(upstream) {
  if (upstream == nullptr) {
    throw std::invalid_argument("a pool_resource needs a resource for what does not fit");
  }
}

pool_resource::~pool_resource() = default;

bool pool_resource::release_free_memory() {
  return pool_.release_free_memory();
}

bool pool_resource::fits(std::size_t size, std::size_t alignment) const noexcept {
  return size <= pool_.chunk_size() && alignment <= pool::alignment;
}

void* pool_resource::do_allocate(std::size_t size, std::size_t alignment) {
  return fits(size, alignment) ? pool_.allocate() : upstream_->allocate(size, alignment);
}

void pool_resource::do_deallocate(void* block, std::size_t size, std::size_t alignment) {
  if (fits(size, alignment)) {
    pool_.deallocate(block);
  } else {
    upstream_->deallocate(block, size, alignment);
  }
}

bool pool_resource::do_is_equal(const std::pmr::memory_resource& other) const noexcept {
  return this == &other;
}

}  // namespace foundation::kit
