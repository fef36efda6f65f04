// The aligned heap, with and without checks of its pointers, against the run-time's aligned blocks and against the
// system's heap; and how much of the run-time's heap it takes.
//
// A process runs one side of a row only: both sides live in the run-time's heap.

#include <fl/mem/aligned_heap.hpp>

#include <windows.h>

#include <malloc.h>

#include <boost/smart_ptr/shared_ptr.hpp>
#include <string>

#include "heap_workloads.hpp"
#include "mem/aligned_heap_create.hpp"
#include "row.hpp"
#include "windows_support.hpp"

namespace {

using bench::no_heap;
using foundation::core::mem::aligned_heap;
using foundation::core::mem::aligned_heap_access;

// Made when it is first used: a process has one at a time.
template <bool Checked>
aligned_heap& the_heap() {
  static const boost::shared_ptr<void> made = foundation::core::mem::detail::aligned_heap_create(Checked);
  return aligned_heap_access::made_heap();
}

template <bool Checked>
struct aligned {
  static void* allocate(std::size_t size) { return the_heap<Checked>().malloc(size); }
  static void free(void* block) { the_heap<Checked>().free(block); }
};

struct run_time {
  static void* allocate(std::size_t size) { return _aligned_malloc(size, 32); }
  static void free(void* block) { _aligned_free(block); }
};

struct system_heap {
  static void* allocate(std::size_t size) { return HeapAlloc(GetProcessHeap(), 0, size); }
  static void free(void* block) { HeapFree(GetProcessHeap(), 0, block); }
};

using unchecked_blocks = bench::marked<aligned<false>>;
using checked_blocks = bench::marked<aligned<true>>;
using run_time_blocks = bench::marked<run_time>;
using system_blocks = bench::marked<system_heap>;

constexpr auto pairs = []<class Blocks> { return bench::pairs<Blocks>(64, 1000); };
constexpr auto batches = []<class Blocks> { return bench::first_in_first_out<Blocks>(64, 1000, 1); };
constexpr auto random_sizes = []<class Blocks> {
  return bench::replacing<Blocks>(bench::any_size<16, 4096>, 10000, 10000);
};

// The sizes of all blocks in the run-time's heap. What that heap adds to each is left out: with it, both sides take the
// same but for some bytes that hang on the state of its free lists.
std::uint64_t bytes_in_use() {
  const auto heap = reinterpret_cast<HANDLE>(_get_heap_handle());
  std::uint64_t sum = 0;
  PROCESS_HEAP_ENTRY entry{};
  while (HeapWalk(heap, &entry)) {
    if (entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) {
      sum += entry.cbData;
    }
  }
  bench::check(GetLastError() == ERROR_NO_MORE_ITEMS, "HeapWalk");
  return sum;
}

template <class Blocks>
std::uint64_t taken_by_live_blocks(bench::product& result) {
  const bench::contender work = random_sizes.operator()<Blocks>();
  Blocks::give_back(Blocks::take(64, 0));  // Makes the heap.
  const std::uint64_t before = bytes_in_use();
  work.prepare();
  const std::uint64_t taken = bytes_in_use() - before;
  work.run(result);
  return taken;
}

}  // namespace

int main(int argc, char** argv) {
  using bench::add_heap_row;
  add_heap_row<unchecked_blocks, run_time_blocks>("aligned_pairs_64_vs_aligned_malloc", pairs);
  add_heap_row<unchecked_blocks, run_time_blocks>("aligned_batches_64_vs_aligned_malloc", batches);
  add_heap_row<unchecked_blocks, run_time_blocks>("aligned_random_16_4096_vs_aligned_malloc", random_sizes);
  add_heap_row<checked_blocks, run_time_blocks>("checked_pairs_64_vs_aligned_malloc", pairs);
  add_heap_row<checked_blocks, run_time_blocks>("checked_batches_64_vs_aligned_malloc", batches);
  add_heap_row<checked_blocks, run_time_blocks>("checked_random_16_4096_vs_aligned_malloc", random_sizes);
  add_heap_row<unchecked_blocks, system_blocks>("aligned_pairs_64_vs_system_heap", pairs);
  add_heap_row<unchecked_blocks, system_blocks>("aligned_random_16_4096_vs_system_heap", random_sizes);
  bench::add_byte_row("aligned_footprint_16_4096_vs_aligned_malloc", taken_by_live_blocks<unchecked_blocks>,
                      taken_by_live_blocks<run_time_blocks>,
                      {[](bench::product& result) { static_cast<void>(taken_by_live_blocks<no_heap>(result)); }});
  return bench::run(argc, argv);
}
