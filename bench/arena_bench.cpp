// The arena against the same algorithm as Boost.Container bundles it, configured alike, and against the system's heap;
// and what it takes from the system against the bytes that are in use.
//
// A process runs one side of a row only: both sides would take turns in the same address space.

#include "arena_ours.hpp"
#include "heap_workloads.hpp"
#include "row.hpp"

#include <windows.h>

#include <string>

extern "C" void* dlmalloc(std::size_t size);
extern "C" void dlfree(void* block);

namespace {

using bench::no_heap;
using bench::random_source;

struct bundled_arena {
  static void* allocate(std::size_t size) { return dlmalloc(size); }
  static void free(void* block) { dlfree(block); }
};

struct system_heap {
  static void* allocate(std::size_t size) { return HeapAlloc(GetProcessHeap(), 0, size); }
  static void free(void* block) { HeapFree(GetProcessHeap(), 0, block); }
};

using ours = bench::marked<bench::arena>;
using peer = bench::marked<bundled_arena>;
using system_blocks = bench::marked<system_heap>;

constexpr auto pairs = []<class Blocks> { return bench::pairs<Blocks>(64, 1000); };
constexpr auto fifo = []<class Blocks> { return bench::first_in_first_out<Blocks>(64, 1000, 1); };
constexpr auto random_sizes = []<class Blocks> {
  return bench::replacing<Blocks>(bench::any_size<16, 1024>, 10000, 10000);
};
constexpr auto large = []<class Blocks> { return bench::first_in_first_out<Blocks>(300 * 1024, 10, 10); };

// Fills a heap with so many blocks that the unit in which it grows does not count, replaces each a hundred times, and
// then asks what that has taken at its peak.
template <class Blocks>
bench::byte_count peak_of(std::size_t (*size)(random_source&), std::uint64_t (*peak)()) {
  return [=](bench::product& result) {
    const bench::contender work = bench::replacing<Blocks>(size, 100000, 10000000);
    work.prepare();
    work.run(result);
    return peak();
  };
}

void add_footprint(const std::string& name, std::size_t (*size)(random_source&)) {
  const auto ours_taken = peak_of<ours>(size, [] { return std::uint64_t{bench::arena::peak_footprint()}; });
  const auto live = peak_of<no_heap>(size, [] { return no_heap::peak; });
  bench::add_byte_row(name, ours_taken, live, {[=](bench::product& result) { live(result); }});
}

}  // namespace

int main(int argc, char** argv) {
  bench::add_heap_row<ours, peer>("arena_pairs_64_vs_bundled", pairs);
  bench::add_heap_row<ours, peer>("arena_fifo_64_vs_bundled", fifo);
  bench::add_heap_row<ours, peer>("arena_random_16_1024_vs_bundled", random_sizes);
  bench::add_heap_row<ours, peer>("arena_300k_vs_bundled", large);
  bench::add_separate_row("arena_two_threads_64_vs_bundled", bench::passing<ours>(64, 100000),
                          bench::passing<peer>(64, 100000), bench::expected_of_passing(100000));
  bench::add_heap_row<ours, system_blocks>("arena_pairs_64_vs_system_heap", pairs);
  bench::add_heap_row<ours, system_blocks>("arena_random_16_1024_vs_system_heap", random_sizes);
  add_footprint("arena_footprint_16_1024_vs_live_bytes", bench::any_size<16, 1024>);
  return bench::run(argc, argv);
}
