// The private arena of <dlmalloc/malloc.hpp> with a state for each resource. The state knows its segments, in which
// most blocks lie; large blocks have mappings of their own, which are kept in a list here, so that they can all be
// given back.
#include <dlmalloc/malloc.hpp>
#include <fl/except/bad_alloc.hpp>

#include "memory/over_aligned.hpp"

#include <kit/arena_resource.hpp>

#include <cstddef>
#include <cstdint>

namespace foundation::kit {

namespace arena = core::mem::dlmalloc;

namespace {

/// At the start of a mapping of its own, before the chunk: the arena leaves these bytes alone.
struct mapping {
  mapping* before;
  mapping* behind;

  static mapping* of(arena::chunk* c) { return reinterpret_cast<mapping*>(c->back(c->previous_size)); }
  std::size_t size() {
    auto* const c = reinterpret_cast<arena::chunk*>(reinterpret_cast<char*>(this) + arena::first_chunk_offset);
    return arena::first_chunk_offset + c->size() + arena::mapped_foot;
  }
};
static_assert(sizeof(mapping) <= arena::first_chunk_offset);

}  // namespace

struct arena_resource::state {
  arena::malloc_state blocks;
  mapping* mappings = nullptr;  ///< the first of those with a large block; guarded by the lock of `blocks`

  void link(mapping* made) noexcept {
    made->before = nullptr;
    made->behind = mappings;
    if (mappings != nullptr) {
      mappings->before = made;
    }
    mappings = made;
  }
  void unlink(const mapping* gone) noexcept {
    (gone->before != nullptr ? gone->before->behind : mappings) = gone->behind;
    if (gone->behind != nullptr) {
      gone->behind->before = gone->before;
    }
  }

  /// Null if there is no memory.
  void* allocate(std::size_t size) {
    return arena::serialised(blocks, [=, this](arena::malloc_state& m) {
      void* const block = arena::allocate(m, size);
      if (block != nullptr && arena::chunk::of(block)->is_mapped()) {
        link(mapping::of(arena::chunk::of(block)));
      }
      return block;
    });
  }
  void deallocate(void* block) {
    arena::serialised(blocks, [=, this](arena::malloc_state& m) {
      arena::chunk* const c = arena::chunk::of(block);
      if (c->is_mapped()) {
        arena::require(c->previous_size == arena::first_chunk_offset);
        unlink(mapping::of(c));
      }
      arena::release(m, c);
      return 0;
    });
  }

  ~state() {
    while (mappings != nullptr) {
      mapping* const gone = mappings;
      mappings = gone->behind;
      arena::pages::unmap(gone, gone->size());
    }
    // Each segment but the latest has its record inside itself, in what may go with another: the one is read before the
    // other goes.
    arena::segment next = blocks.latest;
    while (next.base != nullptr) {
      const arena::segment gone = next;
      next = gone.next != nullptr ? *gone.next : arena::segment{};
      arena::pages::unmap(gone.base, gone.size);
    }
  }
};

arena_resource::arena_resource() : state_(std::make_unique<state>()) {}

arena_resource::~arena_resource() = default;

std::size_t arena_resource::bytes_reserved() const noexcept {
  return arena::serialised(state_->blocks, [](const arena::malloc_state& m) { return m.footprint; });
}

void* arena_resource::do_allocate(std::size_t size, std::size_t alignment) {
  detail::require_power_of_two(alignment);
  const bool as_it_is = alignment <= arena::block_alignment;
  void* const block = state_->allocate(as_it_is ? size : detail::over_aligned_size(size, alignment));
  if (block == nullptr) {
    throw core::except::bad_alloc();
  }
  return as_it_is ? block : detail::over_align(block, alignment);
}

void arena_resource::do_deallocate(void* block, std::size_t, std::size_t alignment) {
  state_->deallocate(alignment <= arena::block_alignment ? block : detail::heap_block_of(block));
}

bool arena_resource::do_is_equal(const std::pmr::memory_resource& other) const noexcept {
  return this == &other;
}

}  // namespace foundation::kit
