// The aligned heap as the allocator of a container, so that the first element starts on the heap's boundary:
//
//   std::vector<float, kit::aligned_allocator<float>> lanes(1024);
//
// All of them are equal: what one has allocated, any other may give back. For the containers of `std::pmr`, see
// <kit/aligned_heap_resource.hpp>.
//
// Thread safety: any thread, at any time.
#pragma once

#include <kit/aligned_block.hpp>

#include <cstddef>
#include <type_traits>

namespace foundation::kit {

/// An allocator whose blocks come from the aligned heap.
template <class T>
class aligned_allocator {
 public:
  using value_type = T;
  using is_always_equal = std::true_type;
  using propagate_on_container_move_assignment = std::true_type;

  constexpr aligned_allocator() noexcept = default;
  // NOLINTNEXTLINE(google-explicit-constructor): containers convert it to that of their nodes
  template <class Other>
  constexpr aligned_allocator(const aligned_allocator<Other>&) noexcept {}

  /// Room for `count` elements. Throws `std::bad_array_new_length` if so many cannot be, `std::runtime_error` if the
  /// heap's alignment is too small for a `T`, and `std::bad_alloc`.
  [[nodiscard]] T* allocate(std::size_t count) {
    detail::require_alignment<T>();
    return static_cast<T*>(detail::allocate_aligned(detail::array_size<T>(count)));
  }
  /// `elements` comes from `allocate`, with the same count.
  void deallocate(T* elements, std::size_t) noexcept { core::mem::vector_free(elements); }

  /// Always.
  template <class Other>
  friend constexpr bool operator==(const aligned_allocator&, const aligned_allocator<Other>&) noexcept {
    return true;
  }
  template <class Other>
  friend constexpr bool operator!=(const aligned_allocator&, const aligned_allocator<Other>&) noexcept {
    return false;
  }
};

}  // namespace foundation::kit
