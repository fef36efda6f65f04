// Faults, for processes that are to die of them.
#pragma once

#include "as_written.hpp"

namespace test_support {

inline int* volatile null_pointer = nullptr;

/// Writes to address 0.
AS_WRITTEN inline void fault_here() {
  *null_pointer = 1;
}

/// Uses the stack up. Touches it ahead, as the compiler's own probe does before a large frame, so that the fault comes
/// while there is still room for a handler, whatever guarantee a thread has asked for: Wine knows none.
AS_WRITTEN inline int recurse(int depth) {
  volatile char room[1000] = {};
  asm volatile("orq $0, -16384(%%rsp)" : : : "memory", "cc");
  return depth < 0 ? 0 : recurse(depth + 1) + room[depth % 1000];
}

}  // namespace test_support
