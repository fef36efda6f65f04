// Blocks of the aligned heap that have a header: where it lies, and how such a block is made, resized and freed.
//
// A block with a header lies in a block of the run-time like this:
//
//     block             p - 16        p
//     | unused          | header      | the client's bytes …
//     |<----------- offset ---------->|
//
// The run-time's blocks start at multiples of 16, and `p` is the next multiple of the alignment above that, so that
// there is always room for the 16 bytes of the header.
//
// All of it is inline: what a client calls is to cost no more than the run-time's function and a few stores.
//
// Thread safety: that of the run-time's heap; nothing here has a state.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>
#include <optional>

namespace foundation::core::mem::detail {

inline constexpr std::size_t native_alignment = 16;  ///< of the run-time's blocks
inline constexpr std::uint32_t live_mark = 0xfeedface;
inline constexpr std::uint32_t freed_mark = 0x01120531;

/// What lies below each block.
struct header {
  std::uint64_t size;       ///< the client's bytes, rounded up to a multiple of 16
  std::uint32_t check;      ///< `live_mark` or `freed_mark`
  std::uint16_t alignment;  ///< what was asked for
  std::uint16_t offset;     ///< from the start of the run-time's block to the client's bytes
};
static_assert(sizeof(header) == native_alignment);

inline std::uintptr_t address(const void* p) {
  return reinterpret_cast<std::uintptr_t>(p);
}

/// Of numbers, since a bad pointer may be anything, and arithmetic on it undefined.
inline header* header_of(const void* p) {
  // NOLINTNEXTLINE(performance-no-int-to-ptr): see above
  return reinterpret_cast<header*>(address(p) - sizeof(header));
}

/// The size of a block.
struct extent {
  std::size_t rounded;  ///< the client's bytes, as they stand in the header
  std::size_t total;    ///< what is asked of the run-time
};

/// Nothing if they are more than can be counted: then a sum has wrapped.
inline std::optional<extent> extent_of(std::size_t alignment, std::size_t size) {
  const std::size_t rounded = (size + (native_alignment - 1)) & ~(native_alignment - 1);
  const std::size_t total = alignment + rounded;
  if (total <= size) {
    return std::nullopt;
  }
  return extent{rounded, total};
}

/// Puts the header into a block of the run-time and returns the client's part. Null stays null.
inline void* write_header(void* block, std::size_t alignment, std::size_t rounded) {
  if (block == nullptr) {
    return nullptr;
  }
  const std::size_t offset = alignment - (address(block) & (alignment - 1));
  void* const p = static_cast<char*>(block) + offset;
  new (header_of(p))
      header{rounded, live_mark, static_cast<std::uint16_t>(alignment), static_cast<std::uint16_t>(offset)};
  return p;
}

/// Null if there is no memory; so also below.
inline void* header_allocate(std::size_t alignment, std::size_t size) {
  const std::optional<extent> bytes = extent_of(alignment, size);
  return bytes ? write_header(std::malloc(bytes->total), alignment, bytes->rounded) : nullptr;
}

/// A product that overflows counts as what is left of it.
inline void* header_allocate_zeroed(std::size_t alignment, std::size_t count, std::size_t size) {
  const std::optional<extent> bytes = extent_of(alignment, count * size);
  return bytes ? write_header(std::calloc(bytes->total, 1), alignment, bytes->rounded) : nullptr;
}

/// `p` is not null.
inline void header_free(void* p) {
  header* const h = header_of(p);
  // To the compiler a store into memory that is about to be freed has no effect; volatile keeps it.
  static_cast<volatile header*>(h)->check = freed_mark;
  std::free(static_cast<char*>(p) - h->offset);
}

/// Blocks never shrink. If there is no memory, `p` stays as it is.
inline void* header_resize(header* h, std::size_t alignment, void* p, std::size_t size) {
  if (size <= h->size) {
    return p;
  }
  void* const grown = header_allocate(alignment, size);
  if (grown == nullptr) {
    return nullptr;
  }
  std::memcpy(grown, p, h->size);
  header_free(p);
  return grown;
}

}  // namespace foundation::core::mem::detail
