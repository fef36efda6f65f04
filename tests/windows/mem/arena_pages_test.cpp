// The arena on the system's own pages. Failures of system calls are injected.

#include <dlmalloc/validator.hpp>

#include "every_test.hpp"
#include "import_patch.hpp"

namespace {

using namespace foundation::core::mem::dlmalloc;
using test_support::injected;

constexpr std::size_t unit = 65536;

/// Three mappings next to each other; the last one only if it is asked for.
char* map_neighbours(DWORD last_state) {
  for (char* free_place = nullptr;;) {
    free_place = static_cast<char*>(VirtualAlloc(nullptr, 4 * unit, MEM_RESERVE, PAGE_READWRITE));
    VirtualFree(free_place, 0, MEM_RELEASE);
    const DWORD committed = MEM_RESERVE | MEM_COMMIT;
    if (VirtualAlloc(free_place, 2 * unit, committed, PAGE_READWRITE) == free_place &&
        VirtualAlloc(free_place + 2 * unit, unit, committed, PAGE_READWRITE) == free_place + 2 * unit &&
        VirtualAlloc(free_place + 3 * unit, unit, last_state, PAGE_READWRITE) == free_place + 3 * unit) {
      return free_place;
    }
  }
}

bool is_mapped(const void* address) {
  MEMORY_BASIC_INFORMATION region;
  VirtualQuery(address, &region, sizeof region);
  return region.State != MEM_FREE;
}

TEST(ArenaPages, AreTakenBackAsWholeMappingsOnly) {
  char* const start = map_neighbours(MEM_RESERVE);
  EXPECT_FALSE(pages::unmap(start + unit, 2 * unit)) << "begins within a mapping";
  EXPECT_FALSE(pages::unmap(start, unit)) << "ends within a mapping";
  EXPECT_FALSE(pages::unmap(start, 4 * unit)) << "is only reserved, at the end";
  DWORD former;
  for (char* const page : {start + unit - 4096, start + 2 * unit}) {
    ASSERT_TRUE(VirtualProtect(page, 4096, PAGE_READONLY, &former));
  }
  EXPECT_FALSE(pages::unmap(start, unit - 4096)) << "ends within a mapping where its protection changes";
  EXPECT_TRUE(is_mapped(start) && is_mapped(start + 2 * unit));
  {
    injected<decltype(&VirtualFree)> sink(nullptr, "VirtualFree");
    sink.fail_always(FALSE, ERROR_INVALID_PARAMETER);
    EXPECT_FALSE(pages::unmap(start, 3 * unit)) << "the system takes none";
    sink.fail_at(4, FALSE, ERROR_INVALID_PARAMETER);
    EXPECT_TRUE(pages::unmap(start, 3 * unit)) << "it takes one of two";
    EXPECT_TRUE(!is_mapped(start) && VirtualFree(start + 2 * unit, 0, MEM_RELEASE));
  }
  EXPECT_FALSE(pages::unmap(start, unit)) << "is gone";
  VirtualFree(start + 3 * unit, 0, MEM_RELEASE);
}

TEST(ArenaPages, AreAskedForAtTheTopForABlockOfItsOwnAndBelowForMoreThanOne) {
  ASSERT_NE(dlmalloc(100), nullptr);
  const std::size_t footprint = dlmalloc_footprint();
  injected<decltype(&VirtualAlloc)> source(nullptr, "VirtualAlloc");
  std::vector<DWORD> asked;
  source.handle_with([&](auto, void*, SIZE_T, DWORD type, DWORD protection) -> void* {
    asked.insert(asked.end(), {type, protection});
    return nullptr;
  });
  EXPECT_EQ(dlmalloc(300'000), nullptr);
  constexpr DWORD fresh = MEM_RESERVE | MEM_COMMIT;
  EXPECT_EQ(asked, (std::vector<DWORD>{fresh | MEM_TOP_DOWN, PAGE_READWRITE, fresh, PAGE_READWRITE}));
  source.reset();
  void* const large = dlmalloc(3'000'000);
  ASSERT_NE(large, nullptr) << "goes on when there is memory again";
  std::memset(large, 0x5a, 3'000'000);
  validate(arena);
  dlfree(large);
  EXPECT_EQ(dlmalloc_footprint(), footprint);
}

}  // namespace
