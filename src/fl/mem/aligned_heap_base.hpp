// What the variants of the aligned heap have in common: those on the run-time's heap (run_time_heap.hpp) and the one on
// the private arena (arena_heap.hpp). The process has one of them, chosen in alignment.cpp.
#pragma once

#include <fl/mem/aligned_heap.hpp>

#include <cstddef>

namespace foundation::core::mem::detail {

class aligned_heap_base : public aligned_heap {
 public:
  explicit aligned_heap_base(std::size_t alignment) : alignment_(alignment) {}
  std::size_t alignment() const override { return alignment_; }

 protected:
  const std::size_t alignment_;  ///< in bytes, legal
};

}  // namespace foundation::core::mem::detail
