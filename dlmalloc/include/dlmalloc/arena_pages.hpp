// What the arena asks of the system. Functions may be called from any thread; none throws.
#pragma once

#include <cstddef>
#include <cstdint>

namespace foundation::core::mem::dlmalloc::pages {

/// Bytes of a page and of the unit in which the system gives out address space.
struct geometry {
  std::size_t page_size;
  std::size_t granularity;
};
geometry ask_geometry() noexcept;

enum class placement {
  anywhere,
  high,  ///< towards the end of the address space, apart from what grows
};

/// `size` bytes of zeros that can be read and written, at a multiple of the granularity; null if there are none. `size`
/// is a multiple of the page size.
void* map(std::size_t size, placement where) noexcept;

/// Gives whole mappings back, which lie next to each other and fill the range; clients may have changed the protection
/// of their pages. False if the range is anything else, or the system takes none of them: then it is all there as
/// before. True means that nothing of it may be used any more. A mapping that the system alone does not take is lost.
bool unmap(void* start, std::size_t size) noexcept;

/// Milliseconds since some time in the past.
std::uint32_t tick_count() noexcept;

/// Lets other threads run for some milliseconds.
void back_off() noexcept;

/// Whether the process is about to end, and the calling thread is the only one left.
bool process_is_ending() noexcept;

}  // namespace foundation::core::mem::dlmalloc::pages
