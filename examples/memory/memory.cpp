// A program that shows the memory it gets: by which options the process treats memory, blocks of the aligned heap,
// chunks of a pool, containers in an arena, and how much more would be wise to take. Options come from the environment:
//
//     TESSEL_MEM_MGR=release,aligncheck QX_ALIGNED_HEAP_ALIGNMENT=64 ./dev run memory
//
// With --corrupt it writes below the start of a block, as a loop that runs one step too far does. The heap ends the
// process with a report of what it found there.
#include <fl/diag.hpp>
#include <fl/mem.hpp>

#include <kit/aligned_block.hpp>
#include <kit/arena_resource.hpp>

#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <exception>
#include <iostream>
#include <new>
#include <string>
#include <vector>

namespace kit = foundation::kit;
namespace mem = foundation::core::mem;

namespace {

constexpr double mebibyte = 1024.0 * 1024.0;

const char* const usage_text =
    "usage: memory [--corrupt]\n"
    "\n"
    "Shows how this process treats memory, as TESSEL_MEM_MGR and QX_ALIGNED_HEAP_ALIGNMENT say, and how much more of "
    "it\n"
    "would be wise to take.\n"
    "\n"
    "  --corrupt  damages a block instead; the heap ends the process with a report\n"
    "\n"
    "exit status: 0 done, 1 a failure, 3 ended by the heap\n";

/// The largest power of two of which an address is a multiple.
std::uintptr_t alignment_of(const void* p) {
  const auto address = reinterpret_cast<std::uintptr_t>(p);
  return address & (~address + 1);
}

void print_block(const char* what, std::size_t size, const void* p) {
  if (p == nullptr) {
    throw std::bad_alloc();
  }
  std::printf("  %s of %zu bytes at %p, a multiple of %zu\n", what, size, p, static_cast<std::size_t>(alignment_of(p)));
}

void show_manager() {
  std::printf("Memory manager:\n");
  std::fflush(stdout);
  mem::manager::write_startup_log(std::cout);
  std::cout.flush();
  for (const auto type : mem::manager::get_feature_types()) {
    const mem::manager::feature& feature = mem::manager::get_feature(type);
    std::printf("  %-20s%s\n", feature.get_name().c_str(), feature ? "on" : "off");
  }
}

void show_aligned_heap() {
  std::printf("Aligned heap, with an alignment of %zu:\n", mem::vector_alignment());
  std::vector<kit::aligned_block> blocks;  // each gives its block back
  for (const std::size_t size : {24u, 1000u, 1000000u}) {
    const kit::aligned_block& block = blocks.emplace_back(size);
    print_block("block", size, block.get());
    mem::vector_check(block.get());
  }
}

void show_pool() {
  constexpr std::size_t size = 20;
  std::printf("Pool:\n");
  const auto pool = mem::create_managed_pool(size, 100);
  void* chunks[3];
  for (void*& chunk : chunks) {
    print_block("chunk", size, chunk = pool->allocate());
  }
  for (void* const chunk : chunks) {
    pool->deallocate(chunk);
  }
  std::printf("  %s\n", pool->release_free_memory() ? "its block goes back to the system"
                                                    : "it keeps nothing that could go back to the system");
}

void show_containers() {
  kit::arena_resource arena;
  {
    std::pmr::vector<std::pmr::string> names(&arena);
    for (int i = 0; i < 10000; ++i) {
      names.emplace_back("a name that is too long to be kept in the string itself");
    }
    std::printf("Containers:\n  %zu names in an arena of %.1f MiB\n", names.size(),
                static_cast<double>(arena.bytes_reserved()) / mebibyte);
  }
  std::printf("  %.1f MiB when they have gone\n", static_cast<double>(arena.bytes_reserved()) / mebibyte);
}

void show_advice() {
  const mem::RamState ram;
  std::printf("RAM: %.0f of %.0f MiB are free, a pressure of %d\n",
              static_cast<double>(ram.get_available_ram()) / mebibyte,
              static_cast<double>(ram.get_total_ram()) / mebibyte, ram.get_memory_pressure());
  for (const int pressure : {10, 25, 50, 75, 100}) {
    std::printf("  for a pressure of at most %3d take up to %.0f MiB\n", pressure,
                static_cast<double>(ram.get_max_advised_allocation(pressure)) / mebibyte);
  }
  if (mem::stats::IsSupported()) {
    std::printf("Allocated by this process: %.1f MiB\n",
                static_cast<double>(mem::stats::GetStats().GetAlloced()) / mebibyte);
  }
}

[[gnu::noinline]] void write_too_low(char* block) {
  std::memset(block - 16, 'x', 16);
}

void corrupt() {
  char* const block = static_cast<char*>(mem::vector_malloc(100));
  print_block("block", 100, block);
  if (mem::vector_alignment() == 16) {
    std::printf("Blocks of this heap are the run-time's own, and nobody checks them here.\n");
    return;
  }
  write_too_low(block);
  std::fflush(stdout);
  mem::vector_check(block);  // The arena, which has no headers, tells only now:
  mem::vector_free(block);
}

// The report is made when the process ends; here it is shown as well.
void on_abort(int) {
  std::fputs(foundation::core::diag::terminate_log(), stderr);
}

}  // namespace

int main(int argc, char** argv) {
  const auto is_given = [&](const char* word) { return argc > 1 && std::strcmp(argv[1], word) == 0; };
  if (is_given("--help")) {
    std::fputs(usage_text, stdout);
    return 0;
  }
  std::signal(SIGABRT, on_abort);
  foundation::core::diag::disable_terminate_dialog();
  try {
    if (is_given("--corrupt")) {
      corrupt();
      return 0;
    }
    show_manager();
    show_aligned_heap();
    show_pool();
    show_containers();
    show_advice();
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "%s\n", failure.what());
    return 1;
  }
  return 0;
}
