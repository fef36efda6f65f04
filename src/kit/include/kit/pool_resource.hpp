// A managed pool for the containers of `std::pmr` whose nodes are of one size, such as lists and maps:
//
//   kit::pool_resource nodes(64);
//   std::pmr::map<int, double> rates(&nodes);
//
// What does not fit into a chunk goes to another resource: larger blocks, the array of a hash table for one, and those
// that must be aligned to more than 8 bytes. With the memory manager's feature `pooling`, which is on unless the
// environment says otherwise, a chunk costs a few instructions.
//
// Thread safety: one thread at a time; for several, put a `kit::locked_resource` before it.
#pragma once

#include <kit/export.hpp>
#include <kit/pool.hpp>

#include <cstddef>
#include <memory_resource>

namespace foundation::kit {

/// Equal to itself only. What becomes of blocks that are still out at its end is what <fl/mem/managed_pool.hpp> says.
class KIT_API pool_resource : public std::pmr::memory_resource {
 public:
  /// `chunk_size` in bytes: the largest block that comes from the pool. `upstream` serves all others, and must outlive
  /// this. Throws as `kit::pool` does, and `std::invalid_argument` if `upstream` is null.
  explicit pool_resource(std::size_t chunk_size, std::size_t initial_chunks = pool::default_initial_chunks,
                         std::pmr::memory_resource* upstream = std::pmr::get_default_resource());
  pool_resource(const pool_resource&) = delete;
  pool_resource& operator=(const pool_resource&) = delete;
  ~pool_resource() override;

  /// In bytes, as asked for.
  std::size_t chunk_size() const noexcept { return pool_.chunk_size(); }
  /// Not null.
  std::pmr::memory_resource* upstream_resource() const noexcept { return upstream_; }

  /// Gives memory in which no chunk is handed out back to the system; true if there was any.
  bool release_free_memory();

 private:
  bool fits(std::size_t size, std::size_t alignment) const noexcept;

  /// Throws `std::bad_alloc`, and what `upstream` throws.
  void* do_allocate(std::size_t size, std::size_t alignment) override;
  /// Size and alignment decide where the block goes back to. With the memory manager's options "pooling,aligncheck", a
  /// block that is no chunk of the pool, though it would fit, ends the process.
  void do_deallocate(void* block, std::size_t size, std::size_t alignment) override;
  bool do_is_equal(const std::pmr::memory_resource& other) const noexcept override;

  pool pool_;
  std::pmr::memory_resource* upstream_;
};

}  // namespace foundation::kit
