// boost::pool, and what it lacks for chunks that are freed in any order.
//
// Thread safety: one thread at a time.
#pragma once

#include <boost/pool/pool.hpp>

#include <cstddef>

namespace foundation::core::mem::detail {

/// Chunks that were handed out, and chunks that came back. One count of both would make each call wait for the one
/// before.
struct chunk_counts {
  std::size_t handed_out_ = 0;
  std::size_t returned_ = 0;
};

/// The counts come first, so that they lie beside the head of the free list, with which they change.
class chunk_pool : private chunk_counts, private boost::pool<boost::default_user_allocator_new_delete> {
 public:
  using pool::get_next_size;
  using pool::get_requested_size;
  using pool::pool;

  /// The first chunk of the free list, or one of a new block, which has at most `most_chunks` chunks. Null if there is
  /// no memory.
  void* malloc(size_type most_chunks) {
    if (first == nullptr) [[unlikely]] {
      return malloc_from_new_block(most_chunks);
    }
    void* const chunk = pool::malloc();
    ++handed_out_;
    return chunk;
  }

  /// `chunk` is not null. It becomes the first of the free list, unchecked: one that is in the list already makes it a
  /// ring.
  void free(void* chunk) noexcept {
    pool::free(chunk);
    ++returned_;
  }

  /// Gives the blocks back of which no chunk is handed out, and the next block gets the size that growth has reached.
  /// True if there were any. Allocates nothing and needs less than 32 KiB of stack. What is left is handed out in the
  /// order of addresses. Chunks that were freed twice count once: what is handed out stays, whatever the counts say.
  bool release() noexcept;

 private:
  /// Apart from `malloc`, which has no call in it then.
  void* malloc_from_new_block(size_type most_chunks);
  bool has_all_chunks() const noexcept;
  bool release_all() noexcept;
  void sort_blocks() noexcept;
  void sort_free_chunks() noexcept;
};

}  // namespace foundation::core::mem::detail
