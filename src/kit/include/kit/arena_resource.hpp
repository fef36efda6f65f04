// A private heap for the containers of `std::pmr`, and for whatever else has to be apart: a cache that goes as a whole,
// a parser whose nodes are to lie together, a part of a program that is not to meet others at the lock of their heap.
//
//   kit::arena_resource arena;
//   std::pmr::unordered_map<std::pmr::string, entry> index(&arena);
//
// Blocks may come and go in any order and size: freed memory is used again, and what is idle goes back to the system. A
// block starts at a multiple of 32 bytes and costs 8 bytes beside its own. A larger alignment costs as many bytes more.
//
// Thread safety: any thread may allocate and deallocate at any time, also blocks of another thread; there is one lock
// for each arena. The making and the end belong to one thread.
#pragma once

#include <kit/export.hpp>

#include <cstddef>
#include <memory>
#include <memory_resource>

namespace foundation::kit {

/// Equal to itself only.
class KIT_API arena_resource : public std::pmr::memory_resource {
 public:
  /// Has no memory before the first request. Throws `std::bad_alloc`.
  arena_resource();
  arena_resource(const arena_resource&) = delete;
  arena_resource& operator=(const arena_resource&) = delete;
  /// Gives all memory back to the system, blocks that are still out included: their destructors are not run.
  ~arena_resource() override;

  /// Bytes that the arena has from the system at present, in blocks and free.
  std::size_t bytes_reserved() const noexcept;

 private:
  /// Throws `std::bad_alloc`, and `std::invalid_argument` for an alignment that is no power of two.
  void* do_allocate(std::size_t size, std::size_t alignment) override;
  /// A block that went back before, or is none of the arena, ends the process by `diag::terminate` where that is seen:
  /// mostly.
  void do_deallocate(void* block, std::size_t size, std::size_t alignment) override;
  bool do_is_equal(const std::pmr::memory_resource& other) const noexcept override;

  struct state;
  std::unique_ptr<state> state_;  // never null
};

}  // namespace foundation::kit
