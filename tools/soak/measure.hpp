// What the long runs on Windows share: how they begin and end, what this process holds, and tables of figures.
//
// Figures are Markdown on standard output; progress and breaches go to standard error. `expect` may be called from any
// thread, all else belongs to the main thread.
#pragma once

#include "guarded_program.hpp"
#include "support.hpp"

#include <windows.h>
#include <psapi.h>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>
#include <vector>

namespace soak {

inline std::atomic<unsigned> breaches{0};

/// A breach of what is promised makes the program fail; the first twenty are told.
inline void expect(bool holds, const std::string& promise) {
  if (!holds && breaches.fetch_add(1) < 20) {
    std::fprintf(stderr, "breach: %s\n", promise.c_str());
  }
}

/// The main function: `work` gets the arguments. Without `test_support::tell_progress` for as many seconds the program
/// ends with the stacks of all threads.
template <class Work>
int run(int count, char** arguments, int watch_s, Work work) {
  std::setvbuf(stdout, nullptr, _IONBF, 0);
  std::setvbuf(stderr, nullptr, _IONBF, 0);
  test_support::install_fault_reports();
  test_support::retry_refused_launches();
  test_support::begin_watch(watch_s);
  try {
    work(std::vector<std::string>(arguments + 1, arguments + count));
  } catch (const std::exception& failure) {
    expect(false, std::string("unexpected: ") + failure.what());
  }
  std::printf("\nBreaches: %u.\n", breaches.load());
  return breaches == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}

/// The argument of that place, counted from 0.
inline std::size_t number_or(const std::vector<std::string>& arguments, std::size_t place, std::size_t otherwise) {
  return place < arguments.size() ? std::stoul(arguments[place]) : otherwise;
}

class stopwatch {
 public:
  double seconds() const { return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin_).count(); }

 private:
  std::chrono::steady_clock::time_point begin_ = std::chrono::steady_clock::now();
};

/// The bytes of all blocks in use of all heaps of the process, the C run-time's among them.
inline std::size_t heap_bytes() {
  HANDLE heaps[64];
  std::size_t bytes = 0;
  for (DWORD count = ::GetProcessHeaps(64, heaps); count != 0; --count) {
    const HANDLE heap = heaps[count - 1];
    PROCESS_HEAP_ENTRY entry{};
    ::HeapLock(heap);
    while (::HeapWalk(heap, &entry)) {
      bytes += (entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) != 0 ? entry.cbData : 0;
    }
    ::HeapUnlock(heap);
  }
  return bytes;
}

/// What this process holds.
struct holdings {
  std::size_t handles;
  std::size_t heap;      ///< bytes in use
  std::size_t private_;  ///< bytes that it shares with nobody; Wine tells only what is in memory
};

inline holdings measure() {
  PROCESS_MEMORY_COUNTERS memory{};
  ::GetProcessMemoryInfo(::GetCurrentProcess(), &memory, sizeof memory);
  return {test_support::handle_count(), heap_bytes(), memory.PagefileUsage};
}

/// The run-time and the system make a few things at any moment and keep them. Private bytes have most room: they were
/// seen to grow in steps of megabytes while heaps and handles stayed.
inline void expect_flat(const holdings& before, const holdings& after) {
  expect(after.handles <= before.handles + 8, "handles are flat");
  expect(after.heap <= before.heap + before.heap / 32 + 16 * 1024, "the heap is flat");
  expect(after.private_ <= before.private_ + before.private_ / 20 + 16 * 1024 * 1024, "private bytes are flat");
}

inline std::string text(std::size_t number) {
  return std::to_string(number);
}
inline std::string text(double number, int digits = 2) {
  char buffer[64];
  std::snprintf(buffer, sizeof buffer, "%.*f", digits, number);
  return buffer;
}
/// In KiB.
inline std::string kib(std::size_t bytes) {
  return text(bytes / 1024);
}

/// The last cells of a row that tells what the process holds, and their heads.
inline std::vector<std::string> with_holdings(std::vector<std::string> cells, const holdings& now) {
  cells.insert(cells.end(), {text(now.handles), kib(now.heap), kib(now.private_)});
  return cells;
}
inline std::vector<std::string> with_holdings(std::vector<std::string> heads) {
  heads.insert(heads.end(), {"handles", "heap, KiB", "private, KiB"});
  return heads;
}

/// Prints one row of a table, and the line below the heads of its columns.
inline void print_row(const std::vector<std::string>& cells) {
  for (const std::string& cell : cells) {
    std::printf("| %s ", cell.c_str());
  }
  std::printf("|\n");
}
inline void print_heads(const std::vector<std::string>& heads) {
  print_row(heads);
  for (std::size_t i = 0; i != heads.size(); ++i) {
    std::printf("|--:");
  }
  std::printf("|\n");
}

}  // namespace soak
