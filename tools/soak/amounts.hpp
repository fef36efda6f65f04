// What a process holds, and whether it stays so.
#pragma once

#include "measure.hpp"

#include <windows.h>

#include <algorithm>
#include <string>
#include <vector>

namespace soak {

struct amounts {
  std::size_t bytes;  ///< in the working set, and private, whichever is more: Wine 8 says that no byte is private
  std::size_t heap_bytes;
  std::size_t handles;
  DWORD slots;  ///< of thread-local storage
};

inline DWORD slots_in_use() {
  constexpr DWORD all = TLS_MINIMUM_AVAILABLE + 1024;
  std::vector<DWORD> free;
  for (DWORD slot; (slot = ::TlsAlloc()) != TLS_OUT_OF_INDEXES;) {
    free.push_back(slot);
  }
  for (const DWORD slot : free) {
    ::TlsFree(slot);
  }
  return all - static_cast<DWORD>(free.size());
}

inline amounts measure_with_slots() {
  const DWORD slots = slots_in_use();  // First: for the sake of it the system allocates, once.
  PROCESS_MEMORY_COUNTERS_EX memory{};
  ::GetProcessMemoryInfo(::GetCurrentProcess(), reinterpret_cast<PROCESS_MEMORY_COUNTERS*>(&memory), sizeof memory);
  return {std::max(memory.PrivateUsage, memory.WorkingSetSize), heap_bytes(), test_support::handle_count(), slots};
}

inline void print_heading() {
  print_heads({"", "memory, KiB", "heaps, KiB", "handles", "slots"});
}

/// Prints both as rows. Whether there is at most 5% more memory, 20 handles more, of which the run-time and the system
/// make some at any moment and keep them, and no slot more. `lost_elsewhere`: bytes that somebody else has lost
/// meanwhile.
inline bool stays(const char* what, const amounts& first, const amounts& last, std::size_t lost_elsewhere = 0) {
  const auto print = [what](const char* when, const amounts& seen) {
    print_row({std::string(what) + ", " + when, kib(seen.bytes), kib(seen.heap_bytes), text(seen.handles),
               text(std::size_t{seen.slots})});
  };
  print("after the warm-up", first);
  print("at the end", last);
  return last.bytes <= first.bytes + first.bytes / 20 + lost_elsewhere &&
         last.heap_bytes <= first.heap_bytes + first.heap_bytes / 20 + lost_elsewhere &&
         last.handles <= first.handles + 20 && last.slots <= first.slots;
}

}  // namespace soak
