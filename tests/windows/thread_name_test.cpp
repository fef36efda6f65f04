// Names of threads.
#include <conc_common/thread_name.hpp>

#include <gtest/gtest.h>

#include "import_patch.hpp"
#include "support.hpp"

#include <atomic>
#include <iterator>
#include <new>
#include <optional>
#include <string>
#include <thread>

#include <windows.h>

namespace {

using foundation::concurrent::common::getCurrentThreadName;
using foundation::concurrent::common::setCurrentThreadName;
using test_support::import_patch;
using test_support::injected;

constexpr const char* library = "libqxfoundation_conc_common.dll";

/// The calling thread's name in a buffer of `size` bytes, behind which nothing is written; nothing if there is none.
std::optional<std::string> name(std::size_t size = 100) {
  std::string buffer(size + 4, '#');
  const bool named = getCurrentThreadName(buffer.data(), size);
  EXPECT_EQ(buffer.substr(named ? size : 0), std::string(named ? 4 : size + 4, '#'));
  return named ? std::optional(std::string(buffer.c_str())) : std::nullopt;
}

/// What the system has as the name; nothing where it keeps none.
std::optional<std::wstring> description() {
  const auto get = reinterpret_cast<HRESULT(WINAPI*)(HANDLE, PWSTR*)>(
      reinterpret_cast<void (*)()>(GetProcAddress(GetModuleHandleW(L"kernelbase.dll"), "GetThreadDescription")));
  PWSTR text = nullptr;
  if (get == nullptr || get(GetCurrentThread(), &text) < 0)
    return std::nullopt;
  const std::wstring copy = text;
  LocalFree(text);
  return copy;
}

std::atomic<import_patch::any_function> real_delete{nullptr};
std::atomic<int> deleted{0};
void counting_delete(void* array) {
  ++deleted;
  reinterpret_cast<void (*)(void*)>(real_delete.load())(array);
}

TEST(ThreadName, BelongsToOneThreadIsKnownToTheSystemAndIsFreedWithTheThread) {
  const import_patch patch(library, "_ZdaPv", reinterpret_cast<import_patch::any_function>(&counting_delete),
                           real_delete);
  setCurrentThreadName("first");
  std::thread([] {
    EXPECT_EQ(name(), std::nullopt);
    setCurrentThreadName("second");
    setCurrentThreadName("\xC3\xA9\xF0\x9F\x98\x80");
    EXPECT_EQ(name(), "\xC3\xA9\xF0\x9F\x98\x80");
    EXPECT_EQ(description().value_or(L"\u00E9\U0001F600"), L"\u00E9\U0001F600");
  }).join();
  EXPECT_EQ(deleted, 2);
  EXPECT_EQ(name(), "first");
  EXPECT_FALSE(getCurrentThreadName(nullptr, 10));
  EXPECT_EQ(name(0), std::nullopt);
}

TEST(ThreadName, IsMendedAndCutBetweenCharacters) {
  setCurrentThreadName("a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80");
  const std::string cut[] = {"", "a", "a", "a\xC3\xA9", "a\xC3\xA9", "a\xC3\xA9", "a\xC3\xA9\xE2\x82\xAC"};
  for (std::size_t size = 1; size <= std::size(cut); ++size)
    EXPECT_EQ(name(size), cut[size - 1]) << size;
  EXPECT_EQ(name(10), "a\xC3\xA9\xE2\x82\xAC");
  EXPECT_EQ(name(11), "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80");
  setCurrentThreadName("b\x80\xE2\x82");
  EXPECT_EQ(name(), "b\xEF\xBF\xBD\xEF\xBF\xBD");
  setCurrentThreadName(std::string(100000, 'x'));
  EXPECT_EQ(name(200000), std::string(100000, 'x'));
}

TEST(ThreadName, IsReadWithoutMemoryAndStaysIfThereIsNoneForANewOne) {
  setCurrentThreadName("former");
  injected<void* (*)(std::size_t)> array(library, "_Znay");
  injected<void* (*)(std::size_t)> single(library, "_Znwy");
  char buffer[10];
  SetLastError(77);
  EXPECT_TRUE(getCurrentThreadName(buffer, sizeof buffer));
  EXPECT_EQ(GetLastError(), 77u);
  EXPECT_EQ(array.calls() + single.calls(), 0u);

  array.handle_with([](auto, std::size_t) -> void* { throw std::bad_alloc(); });
  EXPECT_THROW(setCurrentThreadName("later"), std::bad_alloc);
  array.handle_with(nullptr);
  injected<decltype(&FlsSetValue)> keep(library, "FlsSetValue");
  keep.fail_always(FALSE, ERROR_NOT_ENOUGH_MEMORY);
  EXPECT_THROW(setCurrentThreadName("later"), std::bad_alloc);
  EXPECT_EQ(name(), "former");
  EXPECT_EQ(description().value_or(L"former"), L"former");
}

TEST(ThreadName, AThreadMayOutliveTheLibrary) {
  const test_support::temp_dir folder;
  const std::string copy = folder.file("copy.dll"), program = test_support::child_path("");
  test_support::write_file(copy, test_support::read_file(program.substr(0, program.rfind('\\') + 1) + library));
  const HMODULE module = LoadLibraryW(test_support::widen(copy).c_str());
  ASSERT_NE(module, nullptr) << GetLastError();
  const auto set = reinterpret_cast<void (*)(const std::string&)>(reinterpret_cast<void (*)()>(
      GetProcAddress(module,
                     "_ZN10foundation10concurrent6common20setCurrentThreadNameERKNSt7__cxx1112basic_stringIcSt11"
                     "char_traitsIcESaIcEEE")));
  ASSERT_NE(set, nullptr);
  std::atomic<int> step{0};
  std::thread named([&] {
    set("outlives");
    step = 1;
    step.notify_all();
    step.wait(1);
  });
  step.wait(0);
  EXPECT_TRUE(FreeLibrary(module));
  EXPECT_EQ(GetModuleHandleW(L"copy.dll"), nullptr);
  step = 2;
  step.notify_all();
  named.join();
}

}  // namespace
