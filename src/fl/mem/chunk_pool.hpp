// boost::pool, and what it lacks for chunks that are freed in any order. No data of its own.
//
// Thread safety: one thread at a time.
#pragma once

#include <boost/pool/pool.hpp>

#include <algorithm>

namespace foundation::core::mem::detail {

class chunk_pool : public boost::pool<boost::default_user_allocator_new_delete> {
 public:
  using pool::pool;

  bool has_free_chunk() const noexcept { return first != nullptr; }

  /// The next block has at most `chunks` chunks. `set_next_size` would do more: it also changes the size with which the
  /// pool goes on after `release_memory`.
  void limit_next_size(size_type chunks) noexcept { next_size = std::min(next_size, chunks); }

  /// Puts blocks and free chunks in the order of their addresses; `release_memory` overlooks free blocks otherwise.
  /// Allocates nothing and needs less than 32 KiB of stack.
  void sort() noexcept;

 private:
  void sort_blocks() noexcept;
  void sort_free_chunks() noexcept;
};

}  // namespace foundation::core::mem::detail
