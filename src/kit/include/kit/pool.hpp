// Owns a managed pool (<fl/mem/managed_pool.hpp>) and makes objects in its chunks:
//
//   auto nodes = kit::pool::of<node>();
//   kit::pooled_ptr<node> root = nodes.make<node>("root");   // goes back to the pool with its owner
//
// Objects of several types can share a pool, as long as each fits into a chunk. For containers of `std::pmr`, see
// <kit/pool_resource.hpp>.
//
// Thread safety: a pool and all that was made in it belong to one thread at a time.
#pragma once

#include <fl/mem/managed_pool.hpp>

#include <kit/export.hpp>

#include <cstddef>
#include <memory>
#include <new>
#include <utility>

namespace foundation::kit {

/// Destroys an object in a chunk and gives the chunk back to its pool.
template <class T>
struct pool_delete {
  core::mem::managed_pool* pool = nullptr;  ///< not null where there is an object; outlives it

  /// `object`: one that `pool::make` made.
  void operator()(T* object) const noexcept {
    object->~T();
    pool->deallocate(object);
  }
};

/// Owns an object of a pool, which must outlive it. Does not convert to the owner of a base class: the chunk starts
/// where the whole object does.
template <class T>
using pooled_ptr = std::unique_ptr<T, pool_delete<T>>;

/// A managed pool that makes and destroys objects.
class KIT_API pool {
 public:
  /// What every chunk is aligned to, in bytes.
  static constexpr std::size_t alignment = 8;
  /// How many chunks the first block has if nobody says.
  static constexpr std::size_t default_initial_chunks = 64;

  /// `chunk_size` in bytes; how many chunks the first block has. Throws `std::invalid_argument` for a size of 0, with
  /// pooling also for one that is next to the largest number there is, and `std::bad_alloc`.
  explicit pool(std::size_t chunk_size, std::size_t initial_chunks = default_initial_chunks);
  /// For objects of type `T`.
  template <class T>
  static pool of(std::size_t initial_chunks = default_initial_chunks) {
    return pool(sizeof(T), initial_chunks);
  }
  /// Objects stay valid, and belong to the pool that was moved to. Nothing can be made with `other` any more.
  pool(pool&& other) noexcept;
  pool& operator=(pool&& other) noexcept;
  /// No object may be left. What is left of chunks is what <fl/mem/managed_pool.hpp> says.
  ~pool();

  /// In bytes, as asked for.
  std::size_t chunk_size() const noexcept { return chunk_size_; }

  /// One chunk, not null. Throws `std::bad_alloc`.
  [[nodiscard]] void* allocate();
  /// `chunk` comes from this pool and was not given back since, or is null.
  void deallocate(void* chunk);

  /// An object made of `arguments`. Throws `std::invalid_argument` if it is larger than a chunk, `std::bad_alloc`, and
  /// what its constructor throws.
  template <class T, class... Arguments>
  pooled_ptr<T> make(Arguments&&... arguments) {
    static_assert(alignof(T) <= alignment,
                  "the chunks of a pool are aligned to 8 bytes, which is too little for this type");
    void* const chunk = allocate_for(sizeof(T));
    try {
      return pooled_ptr<T>(::new (chunk) T(std::forward<Arguments>(arguments)...), pool_delete<T>{pool_.get()});
    } catch (...) {
      pool_->deallocate(chunk);
      throw;
    }
  }

  /// Gives memory in which no chunk is handed out back to the system; true if there was any.
  bool release_free_memory();

 private:
  /// A chunk for an object of so many bytes.
  void* allocate_for(std::size_t size);

  std::unique_ptr<core::mem::managed_pool> pool_;  // null only once it was moved from
  std::size_t chunk_size_;                         // in bytes
};

}  // namespace foundation::kit
