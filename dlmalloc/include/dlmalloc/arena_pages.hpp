// What the arena asks of the system. Functions may be called from any thread; none throws. Implemented in
// src/fl/mem/windows/arena_pages.cpp, or by the program that has an arena of its own.
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

/// Gives back a range that consists of whole mappings; clients may have changed the protection of their pages. False if
/// it consists of anything else, or the system releases none of them: then nothing has changed. True if the system
/// releases any: then nothing of the range may be used, and a mapping that was not released stays until the process
/// ends.
bool unmap(void* start, std::size_t size) noexcept;

/// Milliseconds since some time in the past.
std::uint32_t tick_count() noexcept;

/// Lets other threads run for some milliseconds.
void back_off() noexcept;

/// Whether the process is about to end, and the calling thread is the only one left.
bool process_is_ending() noexcept;

}  // namespace foundation::core::mem::dlmalloc::pages
