#include "mem/pooled_pool.hpp"

#include <limits>
#include <stdexcept>
#include <string>

namespace foundation::core::mem::name_this_to_work_around_gdb_bug {
namespace {

constexpr std::size_t chunk_unit = 8;         // bytes; the size of a chunk is a multiple of it
constexpr std::size_t block_foot = 16;        // bytes that the pool needs at the end of a block
constexpr std::size_t block_size = 0x400000;  // bytes at which blocks stop growing

std::size_t rounded_up(std::size_t size) {
  constexpr std::size_t most = (std::numeric_limits<std::size_t>::max() - block_foot) / chunk_unit * chunk_unit;
  if (size == 0 || size > most) {
    throw std::invalid_argument("a pool cannot have chunks of " + std::to_string(size) + " bytes");
  }
  return (size + chunk_unit - 1) / chunk_unit * chunk_unit;
}

}  // namespace

pooled_pool::pooled_pool(std::size_t size, std::size_t initial_chunks)
    : pool_(rounded_up(size), std::max<std::size_t>(initial_chunks, 1)),
      pool_block_cap_(std::max(block_size / pool_.get_requested_size(), pool_.get_next_size())) {}

void* pooled_pool::allocate() {
  return pool_.malloc(pool_block_cap_);
}

void pooled_pool::deallocate(void* chunk) {
  if (chunk != nullptr) {
    pool_.free(chunk);
  }
}

bool pooled_pool::release_free_memory() {
  return pool_.release();
}

}  // namespace foundation::core::mem::name_this_to_work_around_gdb_bug
