#include "common/windows/late_function.hpp"

#include "every_test.hpp"
#include "import_patch.hpp"

#include <windows.h>

namespace {

using foundation::core::sysdep::windows::late_function;

constinit late_function<DWORD(HWND)> present{"lz32.dll", "GetExpandedNameA"}, no_function{"lz32.dll", "GetNothing"},
    no_library{"lz33.dll", "GetExpandedNameA"};

TEST(LateFunction, LoadsFromTheSystemAloneWhenFirstAskedAndSaysWhatIsMissing) {
  test_support::injected<decltype(&LoadLibraryExA)> load(nullptr, "LoadLibraryExA", [](auto original, auto... all) {
    EXPECT_EQ(std::get<2>(std::tuple(all...)), DWORD{LOAD_LIBRARY_SEARCH_SYSTEM32});
    return original(all...);
  });
  for (const DWORD calls : {1u, 2u}) {
    EXPECT_EQ(no_library({}), 0u);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_MOD_NOT_FOUND});
    EXPECT_EQ(no_function.get(), nullptr);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_PROC_NOT_FOUND});
    EXPECT_EQ(GetModuleHandleA("lz32.dll"), nullptr) << "stays loaded for nothing";
    EXPECT_EQ(load.calls(), 2 * calls);
  }
  load.reset();
  std::vector<std::jthread> threads;
  for (int number = 0; number < 4; ++number) {
    threads.emplace_back([] { EXPECT_NE(present.get(), nullptr); });
  }
  threads.clear();
  const HMODULE module = GetModuleHandleA("lz32.dll");
  EXPECT_EQ(reinterpret_cast<void*>(present.get()),
            reinterpret_cast<void*>(GetProcAddress(module, "GetExpandedNameA")));
  EXPECT_LE(load.calls(), 4u);
}

}  // namespace
