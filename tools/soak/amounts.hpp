// What a process holds, and whether it stays so.
#pragma once

#include <windows.h>
#include <psapi.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <vector>

namespace soak {

struct amounts {
  std::size_t bytes;       ///< in the working set, and private, whichever is more: Wine 8 says that no byte is private
  std::size_t heap_bytes;  ///< in the blocks of all heaps, those of the C run-time included
  DWORD handles;
  DWORD slots;  ///< of thread-local storage
};

inline std::size_t bytes_in_heaps() {
  HANDLE heaps[64];
  const DWORD count = std::min<DWORD>(::GetProcessHeaps(64, heaps), 64);
  std::size_t bytes = 0;
  for (DWORD n = 0; n != count; ++n) {
    ::HeapLock(heaps[n]);
    PROCESS_HEAP_ENTRY entry{};
    while (::HeapWalk(heaps[n], &entry)) {
      bytes += (entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) != 0 ? entry.cbData : 0;
    }
    ::HeapUnlock(heaps[n]);
  }
  return bytes;
}

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

inline DWORD handle_count() {
  DWORD count = 0;
  if (::GetProcessHandleCount(::GetCurrentProcess(), &count) && count != 0) {
    return count;
  }
  // Wine 8 reports 0. It gives out the lowest free number.
  for (std::uintptr_t number = 4, last = 0; number <= last + 1024; number += 4) {
    if (DWORD flags; ::GetHandleInformation(reinterpret_cast<HANDLE>(number), &flags)) {
      last = number;
      ++count;
    }
  }
  return count;
}

inline amounts measure() {
  PROCESS_MEMORY_COUNTERS_EX memory{};
  ::GetProcessMemoryInfo(::GetCurrentProcess(), reinterpret_cast<PROCESS_MEMORY_COUNTERS*>(&memory), sizeof memory);
  return {std::max(memory.PrivateUsage, memory.WorkingSetSize), bytes_in_heaps(), handle_count(), slots_in_use()};
}

inline void print_heading() {
  std::printf("| | memory (KB) | heaps (KB) | handles | slots |\n|---|---|---|---|---|\n");
}

/// Prints both as rows. Whether there is at most 5% more memory, 20 handles more, of which the run-time and the system
/// make some at any moment and keep them, and no slot more. `heap_bytes` more in the heaps are somebody else's.
inline bool stays(const char* what, const amounts& first, const amounts& last, std::size_t heap_bytes = 0) {
  const auto print = [what](const char* when, const amounts& seen) {
    std::printf("| %s, %s | %zu | %zu | %lu | %lu |\n", what, when, seen.bytes / 1024, seen.heap_bytes / 1024,
                seen.handles, seen.slots);
  };
  print("after the warm-up", first);
  print("at the end", last);
  std::fflush(stdout);
  return last.bytes <= first.bytes + first.bytes / 20 + heap_bytes &&
         last.heap_bytes <= first.heap_bytes + first.heap_bytes / 20 + heap_bytes &&
         last.handles <= first.handles + 20 && last.slots <= first.slots;
}

}  // namespace soak
