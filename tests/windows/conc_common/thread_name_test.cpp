#include <conc_common/thread_name.hpp>

#include "every_test.hpp"
#include "import_patch.hpp"
#include "support.hpp"

#include <windows.h>

namespace {

using foundation::concurrent::common::getCurrentThreadName;
using foundation::concurrent::common::setCurrentThreadName;
using test_support::injected;

constexpr const char* library = "libqxfoundation_conc_common.dll";

/// The calling thread's name, read into `size` bytes; "none" if there is none. Nothing else of a buffer is changed.
std::string name(std::size_t size = 100) {
  std::string buffer(size + 4, '#');
  SetLastError(77);
  const bool named = getCurrentThreadName(buffer.data(), size);
  EXPECT_EQ(GetLastError(), 77u);
  EXPECT_EQ(buffer.find_first_not_of('#', named ? size : 0), std::string::npos);
  return named ? buffer.c_str() : "none";
}

std::wstring description() {
  const auto get = reinterpret_cast<HRESULT(WINAPI*)(HANDLE, PWSTR*)>(
      reinterpret_cast<void (*)()>(GetProcAddress(GetModuleHandleW(L"kernelbase.dll"), "GetThreadDescription")));
  PWSTR text = nullptr;
  return get != nullptr && get(GetCurrentThread(), &text) >= 0 ? text : L"unknown";
}

TEST(ThreadName, BelongsToOneThreadIsKnownToTheSystemAndStaysIfThereIsNoMemoryForANewOne) {
  injected<void* (*)(void*)> freed(library, "_ZdaPv");  // Nobody looks at the result, which does not exist.
  setCurrentThreadName("first");
  std::thread([] {
    EXPECT_EQ(name(), "none");
    setCurrentThreadName("second");
    setCurrentThreadName("\xC3\xA9\xF0\x9F\x98\x80");
    injected<decltype(&FlsSetValue)> keep(library, "FlsSetValue");
    keep.fail_always(FALSE, ERROR_NOT_ENOUGH_MEMORY);
    EXPECT_THROW(setCurrentThreadName("later"), std::bad_alloc);
    EXPECT_EQ(name(), "\xC3\xA9\xF0\x9F\x98\x80");
    EXPECT_EQ(description(), L"\u00E9\U0001F600");
  }).join();
  EXPECT_EQ(freed.calls(), 3u);
  EXPECT_EQ(name(), "first");
}

TEST(ThreadName, IsMendedAndCutBetweenCharacters) {
  setCurrentThreadName("b\x80\xE2\x82");
  EXPECT_EQ(name(), "b\xEF\xBF\xBD\xEF\xBF\xBD");
  setCurrentThreadName("a\xC3\xA9\xF0\x9F\x98\x80");
  std::size_t size = 0;
  for (const char* const cut :
       {"none", "", "a", "a", "a\xC3\xA9", "a\xC3\xA9", "a\xC3\xA9", "a\xC3\xA9", "a\xC3\xA9\xF0\x9F\x98\x80"}) {
    EXPECT_EQ(name(size++), cut) << size;
  }
  EXPECT_FALSE(getCurrentThreadName(nullptr, 10));
}

// A copy of the library that can be unloaded. Its place in the system's table must go with it: at the thread's end the
// system would call into what is no longer there.
TEST(ThreadName, AThreadMayOutliveTheLibrary) {
  const test_support::temp_dir folder;
  const std::string copy = folder.file("copy.dll"), program = test_support::child_path("");
  test_support::write_file(copy, test_support::read_file(program.substr(0, program.rfind('\\') + 1) + library));
  const HMODULE module = LoadLibraryW(test_support::widen(copy).c_str());
  const auto set = reinterpret_cast<void (*)(const std::string&)>(reinterpret_cast<void (*)()>(
      GetProcAddress(module,
                     "_ZN10foundation10concurrent6common20setCurrentThreadNameERKNSt7__cxx1112basic_stringIcSt1"
                     "1char_traitsIcESaIcEEE")));
  ASSERT_NE(set, nullptr);
  std::thread([&] {
    set("outlives");
    EXPECT_TRUE(FreeLibrary(module));
    EXPECT_EQ(GetModuleHandleW(L"copy.dll"), nullptr);
  }).join();
}

}  // namespace
