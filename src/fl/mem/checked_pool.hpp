// A managed pool that carves its chunks from blocks, and knows which of them are handed out: what else comes back ends
// the process.
#pragma once

#include <fl/mem/managed_pool.hpp>

#include "mem/pooled_pool.hpp"

#include <cstddef>
#include <unordered_set>

namespace foundation::core::mem::name_this_to_work_around_gdb_bug {

class checked_pool final : public managed_pool {
 public:
  /// As `pooled_pool`.
  checked_pool(std::size_t size, std::size_t initial_chunks) : pool_(size, initial_chunks) {}

  /// Null also if there is no memory to note the chunk.
  void* allocate() override;
  void deallocate(void* chunk) override;
  bool release_free_memory() override;

 private:
  pooled_pool pool_;
  std::unordered_set<const void*> out_;  ///< the chunks that are handed out
};

}  // namespace foundation::core::mem::name_this_to_work_around_gdb_bug
