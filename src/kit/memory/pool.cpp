#include <fl/except/bad_alloc.hpp>

#include <kit/pool.hpp>

#include <stdexcept>
#include <string>

namespace foundation::kit {

namespace {

std::unique_ptr<core::mem::managed_pool> make_pool(std::size_t chunk_size, std::size_t initial_chunks) {
  if (chunk_size == 0) {  // Without pooling the core takes it.
    throw std::invalid_argument("a pool cannot have chunks of 0 bytes");
  }
  return core::mem::create_managed_pool(chunk_size, initial_chunks);
}

}  // namespace

pool::pool(std::size_t chunk_size, std::size_t initial_chunks)
    : pool_(make_pool(chunk_size, initial_chunks)), chunk_size_(chunk_size) {}
pool::pool(pool&& other) noexcept = default;
pool& pool::operator=(pool&& other) noexcept = default;
pool::~pool() = default;

void* pool::allocate() {
  void* const chunk = pool_->allocate();
  return chunk != nullptr ? chunk : throw core::except::bad_alloc();
}

void pool::deallocate(void* chunk) {
  pool_->deallocate(chunk);
}

void* pool::allocate_for(std::size_t size) {
  if (size > chunk_size_) {
    throw std::invalid_argument("an object of " + std::to_string(size) + " bytes does not fit into a pool's chunk of " +
                                std::to_string(chunk_size_));
  }
  return allocate();
}

bool pool::release_free_memory() {
  return pool_->release_free_memory();
}

}  // namespace foundation::kit
