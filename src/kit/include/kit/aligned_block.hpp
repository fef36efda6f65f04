// Owners of memory from the aligned heap (<fl/mem/aligned_heap.hpp>): of plain bytes, of an object, of an array.
//
//   kit::aligned_block samples(1 << 20);                            // a block of bytes, given back with the owner
//   const auto lanes = kit::make_aligned<float[]>(1024);            // 1024 zeros
//   const auto state = kit::make_aligned<filter_state>(44100, 2);   // one object, made with these arguments
//
// Everything starts on the heap's boundary, 32 bytes unless the environment says otherwise, and at least on one of 16
// bytes. A type that needs more than the heap has is refused: its alignment decides whether a program can run, so that
// QX_ALIGNED_HEAP_ALIGNMENT must be set for it.
//
// Exhausted memory is a `std::bad_alloc`, that of `except::bad_alloc`; the heap does not call the new handler before.
// The first use of the heap makes the memory manager, and throws what that throws.
//
// Thread safety: each owner is a plain value; the heap behind them serves any thread.
#pragma once

#include <fl/mem/aligned_heap.hpp>

#include <kit/export.hpp>

#include <cstddef>
#include <limits>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>

namespace foundation::kit {

namespace detail {

/// Throws `except::bad_alloc`.
[[noreturn]] KIT_API void throw_bad_alloc();
/// Throws `std::runtime_error`: the heap has `offered` bytes of alignment where `needed` are.
[[noreturn]] KIT_API void throw_alignment_too_small(std::size_t needed, std::size_t offered);

/// A block of the aligned heap, also for a size of 0, which the heap does not take when it checks.
inline void* allocate_aligned(std::size_t size) {
  void* const block = core::mem::vector_malloc(size != 0 ? size : 1);
  return block != nullptr ? block : (throw_bad_alloc(), nullptr);
}

/// Throws `std::bad_array_new_length` if so many do not fit into memory.
template <class T>
std::size_t array_size(std::size_t count) {
  if (count > (std::numeric_limits<std::size_t>::max)() / 2 / sizeof(T)) {
    throw std::bad_array_new_length();
  }
  return count * sizeof(T);
}

/// Throws `std::runtime_error` unless each block of the heap starts where a `T` can.
template <class T>
void require_alignment() {
  constexpr std::size_t always = 16, at_most = 32768;  // what the heap has in any case, and can have
  static_assert(alignof(T) <= at_most, "no aligned heap has blocks of such an alignment");
  if constexpr (alignof(T) > always) {
    if (const std::size_t offered = core::mem::vector_alignment(); alignof(T) > offered) {
      throw_alignment_too_small(alignof(T), offered);
    }
  }
}

}  // namespace detail

/// Owns a block of bytes, or nothing. To copy one is to copy its bytes, which is the caller's business.
class aligned_block {
 public:
  aligned_block() noexcept = default;
  /// `size` bytes without defined content; 0 gives an owner of nothing. Throws `std::bad_alloc`.
  explicit aligned_block(std::size_t size)
      : block_(size != 0 ? detail::allocate_aligned(size) : nullptr), size_(size) {}
  /// `size` bytes of zeros; 0 gives an owner of nothing. Throws `std::bad_alloc`.
  static aligned_block zeroed(std::size_t size) {
    void* const block = size != 0 ? core::mem::vector_calloc(1, size) : nullptr;
    return block != nullptr || size == 0 ? aligned_block(block, size) : (detail::throw_bad_alloc(), aligned_block());
  }
  /// Takes over a block of the aligned heap, or null with a size of 0. `size` is what `size()` then says.
  static aligned_block adopt(void* block, std::size_t size) noexcept { return aligned_block(block, size); }

  aligned_block(aligned_block&& other) noexcept
      : block_(std::exchange(other.block_, nullptr)), size_(std::exchange(other.size_, 0)) {}
  aligned_block& operator=(aligned_block&& other) noexcept {
    aligned_block(std::move(other)).swap(*this);
    return *this;
  }
  ~aligned_block() { reset(); }

  /// Where it starts; null if it owns nothing.
  std::byte* get() const noexcept { return static_cast<std::byte*>(block_); }
  /// In bytes, as asked for.
  std::size_t size() const noexcept { return size_; }
  /// Whether it owns a block.
  explicit operator bool() const noexcept { return block_ != nullptr; }

  /// Gives the block another size, perhaps in another place, and keeps its content up to the smaller of both. 0 gives
  /// it back. Throws `std::bad_alloc`; the block is then as it was.
  void resize(std::size_t size) {
    if (block_ == nullptr || size == 0) {
      *this = aligned_block(size);
      return;
    }
    void* const resized = core::mem::vector_realloc(block_, size);
    block_ = resized != nullptr ? resized : (detail::throw_bad_alloc(), nullptr);
    size_ = size;
  }
  /// Gives the block back now.
  void reset() noexcept {
    size_ = 0;
    if (void* const gone = std::exchange(block_, nullptr)) {
      core::mem::vector_free(gone);
    }
  }
  /// Hands the block over to the caller, who gives it to `vector_free`. Null if it owned nothing.
  [[nodiscard]] std::byte* release() noexcept {
    size_ = 0;
    return static_cast<std::byte*>(std::exchange(block_, nullptr));
  }
  void swap(aligned_block& other) noexcept {
    std::swap(block_, other.block_);
    std::swap(size_, other.size_);
  }

 private:
  aligned_block(void* block, std::size_t size) noexcept : block_(block), size_(size) {}

  void* block_ = nullptr;
  std::size_t size_ = 0;  ///< in bytes
};

/// Destroys an object in a block of the aligned heap and gives the block back.
template <class T>
struct aligned_delete {
  /// `object`: one that `make_aligned` made.
  void operator()(T* object) const noexcept {
    object->~T();
    core::mem::vector_free(object);
  }
};
/// The same for an array, the last element first.
template <class T>
struct aligned_delete<T[]> {
  std::size_t count = 0;  ///< elements

  /// `elements`: what `make_aligned` made.
  void operator()(T* elements) const noexcept {
    for (std::size_t rest = count; rest != 0; --rest) {
      elements[rest - 1].~T();
    }
    core::mem::vector_free(elements);
  }
};

/// Owns an object, or as `aligned_ptr<T[]>` an array, whose length `get_deleter().count` tells. Does not convert to the
/// owner of a base class: the block starts where the whole object does.
template <class T>
using aligned_ptr = std::unique_ptr<T, aligned_delete<T>>;

namespace detail {

/// Makes what `construct(place)` makes in a block of `size` bytes, which goes back if that throws.
template <class T, class Construct>
T* construct_aligned(std::size_t size, Construct construct) {
  require_alignment<T>();
  aligned_block block = aligned_block::adopt(allocate_aligned(size), size);
  T* const made = construct(reinterpret_cast<T*>(block.get()));
  static_cast<void>(block.release());
  return made;
}

template <class T>
inline constexpr bool is_open_array = false;
template <class T>
inline constexpr bool is_open_array<T[]> = true;

}  // namespace detail

/// An object made of `arguments`. Throws what its constructor throws, `std::bad_alloc`, and `std::runtime_error` if the
/// heap's alignment is too small for it.
template <class T, class... Arguments, std::enable_if_t<!std::is_array_v<T>, int> = 0>
aligned_ptr<T> make_aligned(Arguments&&... arguments) {
  return aligned_ptr<T>(detail::construct_aligned<T>(
      sizeof(T), [&](T* place) { return ::new (static_cast<void*>(place)) T(std::forward<Arguments>(arguments)...); }));
}

/// An array of `count` elements, which are zero, or made without arguments. Throws as above, and
/// `std::bad_array_new_length` if so many cannot be.
template <class Array, std::enable_if_t<detail::is_open_array<Array>, int> = 0>
aligned_ptr<Array> make_aligned(std::size_t count) {
  using T = std::remove_extent_t<Array>;
  return aligned_ptr<Array>(detail::construct_aligned<T>(detail::array_size<T>(count),
                                                         [count](T* place) {
                                                           std::uninitialized_value_construct_n(place, count);
                                                           return place;
                                                         }),
                            aligned_delete<Array>{count});
}

/// The same, but elements that need no constructor have no defined content.
template <class Array, std::enable_if_t<detail::is_open_array<Array>, int> = 0>
aligned_ptr<Array> make_aligned_for_overwrite(std::size_t count) {
  using T = std::remove_extent_t<Array>;
  return aligned_ptr<Array>(detail::construct_aligned<T>(detail::array_size<T>(count),
                                                         [count](T* place) {
                                                           std::uninitialized_default_construct_n(place, count);
                                                           return place;
                                                         }),
                            aligned_delete<Array>{count});
}

}  // namespace foundation::kit
