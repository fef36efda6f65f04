// The arena, of which each source that includes it has one of its own, as functions that are called.
#pragma once

#include <cstddef>

namespace bench {

/// As a heap for heap_workloads.hpp.
struct arena {
  static void* allocate(std::size_t size);
  static void free(void* block);

  /// The most bytes that it has had from the system.
  static std::size_t peak_footprint();
};

}  // namespace bench
