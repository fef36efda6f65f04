// The managed pool that carves its chunks from blocks.
#pragma once

#include <fl/mem/managed_pool.hpp>

#include "mem/chunk_pool.hpp"

#include <cstddef>

namespace foundation::core::mem::name_this_to_work_around_gdb_bug {

/// At a cache line: what each call writes, the head of the free list and the counts, then lies in one, and the
/// processor writes such stores two at a time.
class alignas(64) pooled_pool final : public managed_pool {
 public:
  /// `size`: bytes in a chunk, rounded up to a multiple of 8; `initial_chunks`: how many the first block has, where 0
  /// counts as 1. Throws `std::invalid_argument` for a size of 0, and for one that cannot be rounded up or leaves no
  /// room for the 16 bytes at the end of a block.
  pooled_pool(std::size_t size, std::size_t initial_chunks);

  void* allocate() override;
  void deallocate(void* chunk) override;
  bool release_free_memory() override;

 private:
  detail::chunk_pool pool_;
  std::size_t pool_block_cap_;  ///< The most chunks that a new block has.
};

}  // namespace foundation::core::mem::name_this_to_work_around_gdb_bug
