// What the memory code asks of the system, through the DLL. Its calls are watched and answered in its import table.

#include <fl/except.hpp>
#include <fl/mem/page.hpp>
#include <fl/mem/ram_state.hpp>
#include <fl/mem/stats.hpp>

#include "import_patch.hpp"

#include <boost/system/system_error.hpp>
#include <gtest/gtest.h>

#include <psapi.h>

#include <atomic>
#include <string>

namespace {

using namespace foundation::core;
using test_support::injected;

TEST(RamState, TakesThePhysicalMemoryFromTheSystem) {
  injected<BOOL (*)(MEMORYSTATUSEX*)> system("libqxfl.dll", "GlobalMemoryStatusEx");
  system.handle_with([](auto, MEMORYSTATUSEX* asked) {
    EXPECT_EQ(asked->dwLength, 64u);
    *asked = {64, 1, 2000, 1500, 3, 4, 5, 6, 7};
    return TRUE;
  });
  const mem::RamState scripted;
  EXPECT_EQ(scripted.get_total_ram(), 2000u);
  EXPECT_EQ(scripted.get_available_ram(), 1500u);
}

TEST(RamState, ThrowsTheSystemsErrorAsAnInternalException) {
  injected<BOOL (*)(MEMORYSTATUSEX*)> system("libqxfl.dll", "GlobalMemoryStatusEx");
  system.fail_always(FALSE, ERROR_NOT_ENOUGH_MEMORY);
  const boost::system::error_code code(ERROR_NOT_ENOUGH_MEMORY, boost::system::system_category());
  const std::string text = "foundation::core::mem::windows::get_physical_memory: " + code.what();
  EXPECT_THROW(mem::RamState(), except::IInternalException);
  try {
    const mem::RamState never;
    FAIL();
  } catch (const boost::system::system_error& error) {
    EXPECT_EQ(error.code(), code);
    EXPECT_EQ(error.what(), text);
    const auto* const internal = dynamic_cast<const except::IException*>(&error);
    ASSERT_NE(internal, nullptr);
    EXPECT_EQ(internal->ToUstring(), std::u16string(text.begin(), text.end()));
  }
}

TEST(Stats, AreTheBytesCommittedToThisProcess) {
  EXPECT_TRUE(mem::stats::IsSupported());
  injected<BOOL (*)(HANDLE, PROCESS_MEMORY_COUNTERS*, DWORD)> system("libqxfl.dll", "K32GetProcessMemoryInfo");
  system.handle_with([](auto, HANDLE process, PROCESS_MEMORY_COUNTERS* asked, DWORD size) {
    EXPECT_EQ(process, ::GetCurrentProcess());
    EXPECT_EQ(size, 72u);
    *asked = {72, 1, 2, 3, 4, 5, 6, 7, 4711, 8};
    return TRUE;
  });
  EXPECT_EQ(mem::stats::GetStats().GetAlloced(), 4711u);
  system.fail_always(FALSE, ERROR_ACCESS_DENIED);
  EXPECT_EQ(mem::stats::GetStats().GetAlloced(), 0u);
}

void tell_large_pages(SYSTEM_INFO* info) {
  info->dwPageSize = 65536;
}

TEST(Page, StartsAtTheMultipleOfTheSystemsSizeBelow) {
  SYSTEM_INFO info = {};
  ::GetSystemInfo(&info);
  const std::size_t size = info.dwPageSize;
  EXPECT_EQ(mem::get_page_size(), size);
  EXPECT_EQ(mem::get_page(reinterpret_cast<const void*>(7 * size - 1)), reinterpret_cast<const void*>(6 * size));
  EXPECT_EQ(mem::get_page(nullptr), nullptr);
  EXPECT_EQ(mem::get_page(reinterpret_cast<const void*>(size - 1)), nullptr);

  const void* const page = mem::get_page(&info);
  std::atomic<test_support::import_patch::any_function> original{nullptr};
  const test_support::import_patch system("libqxfl.dll", "GetSystemInfo",
                                          reinterpret_cast<test_support::import_patch::any_function>(&tell_large_pages),
                                          original);
  EXPECT_EQ(mem::get_page_size(), 65536u) << "asked at each call";
  EXPECT_EQ(mem::get_page(&info), page) << "settled when the library was loaded";
}

}  // namespace
