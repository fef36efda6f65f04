// An allocator for chunks of one size. Implemented in src/fl/mem; create_managed_pool.cpp chooses its kind.
//
//     const auto nodes = foundation::core::mem::create_managed_pool(sizeof(node), 64);
//     if (void* const chunk = nodes->allocate()) …
//
// With the memory manager's feature `pooling` chunks are carved from large blocks, and handing one out or getting it
// back costs a few instructions. Without it each chunk is an allocation of its own, so that heap-checking tools see it.
// With pooling and one of the features that check memory, the pool knows its chunks and ends the process over what is
// none. Otherwise the kinds differ only in what `release_free_memory` and the destructor do.
//
// Thread safety: a pool belongs to one thread at a time; locking is the owner's.
#pragma once

#include <fl/export.hpp>

#include <boost/core/noncopyable.hpp>

#include <cstddef>
#include <memory>

namespace foundation::core::mem {

/// Hands out chunks of one size, which `create_managed_pool` was told.
class FL_API managed_pool : boost::noncopyable {
 public:
  managed_pool();
  /// With pooling, frees all memory of the pool, chunks that are still handed out included. Without it, frees nothing:
  /// such chunks stay valid.
  virtual ~managed_pool();

  /// One chunk, aligned to 8 bytes at least; null if memory is exhausted. The new handler has been called then, and an
  /// exception from it does not get through.
  virtual void* allocate() = 0;

  /// `chunk` comes from this pool and was not given back since, or is null. With pooling beside `alignment_checking` or
  /// `integrity_checking`, any other ends the process by `diag::terminate`; without these nobody notices, and the pool
  /// may hand one chunk out to two.
  virtual void deallocate(void* chunk) = 0;

  /// Gives memory in which no chunk is handed out back to the system; true if there was any. Quick if no chunk
  /// at all is handed out; else it puts all free chunks in order, which is worth it only when much has been
  /// freed.
  virtual bool release_free_memory() = 0;
};

/// `size`: bytes in a chunk, not 0; with pooling rounded up to a multiple of 8. `initial_chunks`: how many chunks the
/// first block has (0 counts as 1); each further block has twice as many as the one before, up to about 4 MiB. It means
/// nothing without pooling. Makes the memory manager if need be. Throws `std::bad_alloc`, and with pooling
/// `std::invalid_argument` if `size` is 0 or next to the largest number there is; memory for chunks is allocated later.
FL_API std::unique_ptr<managed_pool> create_managed_pool(std::size_t size, std::size_t initial_chunks);

}  // namespace foundation::core::mem
