// Blocks whose alignment is larger than that of the heap they come from. Such a block lies inside one of the heap's,
// whose address stands right below it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <stdexcept>
#include <string>

namespace foundation::kit::detail {

inline void require_power_of_two(std::size_t alignment) {
  if (alignment == 0 || (alignment & (alignment - 1)) != 0) {
    throw std::invalid_argument("a memory resource was asked for an alignment of " + std::to_string(alignment) +
                                ", which is no power of two");
  }
}

/// What to ask the heap for: bytes for a block of `size` with `alignment`. The largest number there is, which no heap
/// has, if that cannot be.
inline std::size_t over_aligned_size(std::size_t size, std::size_t alignment) noexcept {
  constexpr std::size_t most = std::numeric_limits<std::size_t>::max();
  return size <= most - alignment ? size + alignment : most;
}

/// The place inside a block of the heap, which has the size above and starts at a multiple of a smaller alignment. That
/// is at least the size of a pointer, so that there is room for one.
inline void* over_align(void* heap_block, std::size_t alignment) noexcept {
  const auto address = reinterpret_cast<std::uintptr_t>(heap_block);
  const std::uintptr_t above = alignment - (address & (alignment - 1));  // never 0
  char* const block = static_cast<char*>(heap_block) + above;
  std::memcpy(block - sizeof heap_block, &heap_block, sizeof heap_block);
  return block;
}

/// The block of the heap that such a place lies in.
inline void* heap_block_of(const void* over_aligned) noexcept {
  void* heap_block = nullptr;
  std::memcpy(&heap_block, static_cast<const char*>(over_aligned) - sizeof heap_block, sizeof heap_block);
  return heap_block;
}

}  // namespace foundation::kit::detail
