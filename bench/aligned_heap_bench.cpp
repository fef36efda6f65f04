// The aligned heap, with and without checks of its pointers, against the run-time's aligned blocks and against the
// system's heap; and how much of the run-time's heap it takes.
//
// A process runs one side of a row only: both sides live in the run-time's heap.

#include <fl/mem/aligned_heap.hpp>

#include "heap_workloads.hpp"
#include "mem/aligned_heap_create.hpp"
#include "row.hpp"
#include "windows_support.hpp"

#include <boost/smart_ptr/shared_ptr.hpp>

#include <windows.h>
#include <malloc.h>

#include <algorithm>
#include <cstring>
#include <string>

namespace {

using bench::no_heap;
using foundation::core::mem::aligned_heap_access;

// Of the one heap that a process has.
struct aligned {
  static void* allocate(std::size_t size) { return aligned_heap_access::made_heap().malloc(size); }
  static void free(void* block) { aligned_heap_access::made_heap().free(block); }
};

struct run_time {
  static void* allocate(std::size_t size) { return _aligned_malloc(size, 32); }
  static void free(void* block) { _aligned_free(block); }
};

struct system_heap {
  static void* allocate(std::size_t size) { return HeapAlloc(GetProcessHeap(), 0, size); }
  static void free(void* block) { HeapFree(GetProcessHeap(), 0, block); }
};

using aligned_blocks = bench::marked<aligned>;
using run_time_blocks = bench::marked<run_time>;
using system_blocks = bench::marked<system_heap>;

constexpr auto pairs = []<class Blocks> { return bench::pairs<Blocks>(64, 1000); };
constexpr auto batches = []<class Blocks> { return bench::first_in_first_out<Blocks>(64, 1000, 1); };
constexpr auto random_sizes = []<class Blocks> {
  return bench::replacing<Blocks>(bench::any_size<16, 4096>, 10000, 10000);
};

template <class Blocks>
std::uint64_t taken_by_live_blocks(bench::product& result) {
  const bench::contender work = random_sizes.operator()<Blocks>();
  const std::uint64_t before = bench::bytes_in_use();
  work.prepare();
  const std::uint64_t taken = bench::bytes_in_use() - before;
  work.run(result);
  return taken;
}

bool is_named(const char* part, int argc, char** argv) {
  return std::any_of(argv + 1, argv + argc,
                     [=](const char* argument) { return std::strstr(argument, part) != nullptr; });
}

void add_rows_of_checked_heap() {
  using bench::add_heap_row;
  add_heap_row<aligned_blocks, run_time_blocks>("checked_pairs_64_vs_aligned_malloc", pairs);
  add_heap_row<aligned_blocks, run_time_blocks>("checked_batches_64_vs_aligned_malloc", batches);
  add_heap_row<aligned_blocks, run_time_blocks>("checked_random_16_4096_vs_aligned_malloc", random_sizes);
}

void add_rows_of_unchecked_heap() {
  using bench::add_heap_row;
  add_heap_row<aligned_blocks, run_time_blocks>("aligned_pairs_64_vs_aligned_malloc", pairs);
  add_heap_row<aligned_blocks, run_time_blocks>("aligned_batches_64_vs_aligned_malloc", batches);
  add_heap_row<aligned_blocks, run_time_blocks>("aligned_random_16_4096_vs_aligned_malloc", random_sizes);
  add_heap_row<aligned_blocks, system_blocks>("aligned_pairs_64_vs_system_heap", pairs);
  add_heap_row<aligned_blocks, system_blocks>("aligned_random_16_4096_vs_system_heap", random_sizes);
  bench::add_byte_row("aligned_footprint_16_4096_vs_aligned_malloc", taken_by_live_blocks<aligned_blocks>,
                      taken_by_live_blocks<run_time_blocks>,
                      {[](bench::product& result) { static_cast<void>(taken_by_live_blocks<no_heap>(result)); }});
}

}  // namespace

// Without an argument that names the rows of the heap with checks, it is the one without that is made and measured.
int main(int argc, char** argv) {
  const bool checked = is_named("checked_", argc, argv);
  const bool listing = is_named("--benchmark_list_tests", argc, argv);
  const boost::shared_ptr<void> heap = foundation::core::mem::detail::aligned_heap_create(checked);
  if (checked || listing) {
    add_rows_of_checked_heap();
  }
  if (!checked || listing) {
    add_rows_of_unchecked_heap();
  }
  return bench::run(argc, argv);
}
