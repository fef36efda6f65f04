// The managed pool whose chunks are allocations of their own, so that tools which check the heap see each of them.
#pragma once

#include <fl/mem/managed_pool.hpp>

#include <cstddef>

namespace foundation::core::mem::name_this_to_work_around_gdb_bug {

class heap_pool final : public managed_pool {
 public:
  explicit heap_pool(std::size_t size) : size_(size) {}

  void* allocate() override;
  void deallocate(void* chunk) override;
  /// There is nothing to release.
  bool release_free_memory() override;

 private:
  std::size_t size_;  ///< of a chunk, in bytes, as it was asked for
};

}  // namespace foundation::core::mem::name_this_to_work_around_gdb_bug
