// The memory resources on the system's own pages, with the options of the environment, and with blocks that are none.

#include <fl/diag/terminate_handler.hpp>

#include "every_test.hpp"
#include "import_patch.hpp"
#include "support.hpp"

#include <kit/aligned_allocator.hpp>
#include <kit/aligned_heap_resource.hpp>
#include <kit/arena_resource.hpp>
#include <kit/pool_resource.hpp>

#include <windows.h>

namespace {

namespace kit = foundation::kit;
namespace mem = foundation::core::mem;
using test_support::injected;
using test_support::scoped_variable;

bool is_free(const void* p) {
  MEMORY_BASIC_INFORMATION region;
  return VirtualQuery(p, &region, sizeof region) != 0 && region.State == MEM_FREE;
}

TEST(ArenaResource, GivesAllMemoryBackAtItsEnd) {
  std::vector<void*> out;
  {
    kit::arena_resource arena;
    for (int round = 0; round < 400; ++round) {  // several segments, and mappings between them
      for (const std::size_t size : {100u, 20'000u, 200'000u, round % 50 == 0 ? 1u << 20 : 1u}) {
        out.push_back(arena.allocate(size));
      }
    }
    for (std::size_t each = 0; each < out.size(); each += 3) {
      EXPECT_FALSE(is_free(out[each]));
    }
    arena.deallocate(out[3], 1u << 20);  // the first that has a mapping of its own
    arena.deallocate(out[103], 1u);
  }
  EXPECT_EQ(std::count_if(out.begin(), out.end(), is_free), static_cast<std::ptrdiff_t>(out.size()));
}

TEST(ArenaResource, LacksMemoryWhileTheSystemHasNone) {
  kit::arena_resource arena;
  {
    injected<decltype(&VirtualAlloc)> pages("libqxkit.dll", "VirtualAlloc");
    pages.fail_always(nullptr, ERROR_NOT_ENOUGH_MEMORY);
    EXPECT_THROW(std::ignore = arena.allocate(1), std::bad_alloc);
    EXPECT_THROW(std::ignore = arena.allocate(1 << 20, 4096), std::bad_alloc);
  }
  EXPECT_EQ(arena.bytes_reserved(), 0u);
  EXPECT_NE(arena.allocate(1), nullptr);
  EXPECT_NE(arena.allocate(1 << 20, 4096), nullptr);
}

/// Whether `misuse` would end the process.
bool is_fatal(const std::function<void()>& misuse) {
  const foundation::core::test::terminate_handler instead;
  try {
    misuse();
    return false;
  } catch (...) {
    return foundation::core::test::terminate_handled();
  }
}

bool giving_back_twice_is_fatal(std::pmr::memory_resource& resource) {
  std::ignore = resource.allocate(50, 8);
  void* const block = resource.allocate(50, 8);
  std::ignore = resource.allocate(50, 8);
  resource.deallocate(block, 50, 8);
  return is_fatal([&] { resource.deallocate(block, 50, 8); });
}

TEST(ArenaResource, ABlockThatIsNoneIsFatalWhereItIsSeen) {
  kit::arena_resource arena, other;
  EXPECT_TRUE(giving_back_twice_is_fatal(arena));
  arena.deallocate(arena.allocate(1000), 1000);  // It goes on if somebody wants it to.
  EXPECT_TRUE(is_fatal([&] { other.deallocate(arena.allocate(100), 100); }));
}

/// With the options of the environment.
[[noreturn]] void misuse_checked_memory() {
  kit::pool_resource pool(64, 10);
  void* const large = pool.allocate(65, 8);
  const bool good = giving_back_twice_is_fatal(*kit::aligned_heap_resource()) && giving_back_twice_is_fatal(pool) &&
                    is_fatal([&] { pool.deallocate(large, 64, 8); });  // a wrong size
  std::exit(good ? 0 : 1);
}

TEST(PoolResource, ABlockThatIsNoneIsFatalToThoseThatCheck) {
  const scoped_variable checks("TESSEL_MEM_MGR", "release,aligncheck");
  EXPECT_EXIT(misuse_checked_memory(), testing::ExitedWithCode(0), "");
}

template <std::size_t Alignment>
struct alignas(Alignment) aligned_to {
  std::array<char, Alignment> content;
};

/// With an alignment of 64, and a heap that refuses blocks of no size and checks all others.
[[noreturn]] void use_a_checked_heap() {
  bool good = mem::vector_alignment() == 64;
  std::vector<aligned_to<64>, kit::aligned_allocator<aligned_to<64>>> lanes(10);
  mem::vector_check(lanes.data());
  kit::aligned_allocator<char> any;
  any.deallocate(any.allocate(0), 0);
  std::pmr::memory_resource& heap = *kit::aligned_heap_resource();
  for (const std::size_t alignment : {1u, 64u, 128u, 4096u}) {
    void* const block = heap.allocate(0, alignment);
    good = good && reinterpret_cast<std::uintptr_t>(block) % alignment == 0;
    heap.deallocate(block, 0, alignment);
  }
  std::exit(good ? 0 : 1);
}

TEST(AlignedAllocator, FollowsTheEnvironment) {
  const scoped_variable checks("TESSEL_MEM_MGR", "debug"), alignment("QX_ALIGNED_HEAP_ALIGNMENT", "64");
  EXPECT_EXIT(use_a_checked_heap(), testing::ExitedWithCode(0), "");
}

}  // namespace
