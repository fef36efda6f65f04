// What the memory code asks of the system, through the DLL. Its calls are watched and answered in its import table.

#include <fl/mem/page.hpp>
#include <fl/mem/ram_state.hpp>
#include <fl/mem/stats.hpp>

#include "import_patch.hpp"
#include "system_failure.hpp"

#include <psapi.h>

namespace {

using namespace foundation::core::mem;
using test_support::injected;

constexpr const char* library = "libqxfl.dll";

TEST(RamState, TakesThePhysicalMemoryOrTheFailureFromTheSystem) {
  injected<BOOL (*)(MEMORYSTATUSEX*)> system(library, "GlobalMemoryStatusEx");
  system.handle_with([](auto, MEMORYSTATUSEX* asked) {
    EXPECT_EQ(asked->dwLength, 64u);
    *asked = {64, 1, 2000, 1500, 3, 4, 5, 6, 7};
    return TRUE;
  });
  const RamState scripted;
  EXPECT_EQ(scripted.get_total_ram(), 2000u);
  EXPECT_EQ(scripted.get_available_ram(), 1500u);
  system.fail_always(FALSE, ERROR_NOT_ENOUGH_MEMORY);
  EXPECT_THAT([] { RamState(); }, test_support::throws_system_failure(
                                      "foundation::core::mem::windows::get_physical_memory", ERROR_NOT_ENOUGH_MEMORY));
}

TEST(Stats, AreTheBytesCommittedToThisProcess) {
  EXPECT_TRUE(stats::IsSupported());
  injected<BOOL (*)(HANDLE, PROCESS_MEMORY_COUNTERS*, DWORD)> system(library, "K32GetProcessMemoryInfo");
  system.handle_with([](auto, HANDLE process, PROCESS_MEMORY_COUNTERS* asked, DWORD size) {
    EXPECT_EQ(process, ::GetCurrentProcess());
    EXPECT_EQ(size, 72u);
    *asked = {72, 1, 2, 3, 4, 5, 6, 7, 4711, 8};
    return TRUE;
  });
  EXPECT_EQ(stats::GetStats().GetAlloced(), 4711u);
  system.fail_always(FALSE, ERROR_ACCESS_DENIED);
  EXPECT_EQ(stats::GetStats().GetAlloced(), 0u);
}

TEST(Page, StartsAtTheMultipleOfTheSystemsSizeBelow) {
  const auto at = [](std::size_t place) { return reinterpret_cast<const void*>(place); };
  const std::size_t size = get_page_size();
  EXPECT_EQ(size, 4096u);
  EXPECT_EQ(get_page(at(7 * size - 1)), at(6 * size));
  EXPECT_EQ(get_page(nullptr), nullptr);
}

}  // namespace
