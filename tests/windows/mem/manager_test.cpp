// The memory manager as a process has it: environment, heap, new handler and plug-in. A process makes one manager, so
// each case has a process of its own, which EXPECT_EXIT starts. What needs no system is tested natively.

#include <fl/diag.hpp>
#include <fl/mem.hpp>

#include "every_test.hpp"
#include "import_patch.hpp"
#include "memory_shortage.hpp"
#include "support.hpp"

#include <boost/lexical_cast/bad_lexical_cast.hpp>

#include <windows.h>
#include <malloc.h>

#include <csignal>
#include <filesystem>
#include <iostream>
#include <regex>
#include <typeinfo>

namespace {

using foundation::core::mem::manager;
using test_support::injected;
using test_support::scoped_variable;

constexpr const char* library = "libqxfl.dll";

/// Google Test's own patterns have no groups on Windows.
MATCHER_P(HasPattern, pattern, "") {
  return std::regex_search(arg, std::regex(pattern));
}

/// What a process with these options leaves on standard error: the text that `run` returns, behind what was reported.
void expect(std::optional<std::string_view> options, const std::function<std::string()>& run,
            const testing::Matcher<const std::string&>& expected, int exit_code = 0) {
  const scoped_variable variable("TESSEL_MEM_MGR", options);
  EXPECT_EXIT((std::cerr << run(), std::exit(testing::Test::HasFailure())), testing::ExitedWithCode(exit_code),
              expected);
}

/// The start-up log, and '1' or '0' for each feature.
std::string show() {
  std::ostringstream text;
  manager::write_startup_log(text);
  for (const auto type : manager::get_feature_types()) {
    text << (manager::get_feature(type) ? '1' : '0');
  }
  return text.str();
}

std::string log_line(const std::string& text) {
  return "MEMORY MANAGEMENT: " + text + "\n";
}

/// Lets the library believe that it lies in a folder beside the program, which may have a plug-in. One that would agree
/// stands in all places where a bare name would find it.
void take_plugin_from(const char* folder) {
  const std::filesystem::path programs =
      std::filesystem::path(test_support::widen(test_support::child_path(""))).parent_path();
  std::filesystem::current_path(programs / "plugin_agreeing");
  SetDllDirectoryW((programs / "plugin_agreeing").c_str());
  static const injected<decltype(&GetModuleFileNameW)> own_file(
      library, "GetModuleFileNameW", [where = (programs / folder / "x.dll").wstring()](auto, auto, auto* name, DWORD) {
        *std::copy(where.begin(), where.end(), name) = L'\0';
        return static_cast<DWORD>(where.size());
      });
}

/// As the run-time and as the system have it.
std::string variable(const char* name) {
  const char* const value = std::getenv(name);
  char of_system[100] = "";
  GetEnvironmentVariableA(name, of_system, sizeof of_system);
  return std::string(value != nullptr ? value : "-") + " " + of_system + "\n";
}

TEST(Manager, MovesItsOptionsOnceToWhereNoChildTakesThemForItsOwn) {
  const auto before_and_after = [] {
    const scoped_variable bad_alignment("QX_ALIGNED_HEAP_ALIGNMENT", "abc");
    const std::string before = variable("TESSEL_MEM_MGR") + variable("TESSEL_MEM_MGR_VALUE");
    EXPECT_THROW(manager::initialize(), boost::bad_lexical_cast);
    EXPECT_THROW(manager::initialize(), boost::bad_lexical_cast);
    return before + variable("TESSEL_MEM_MGR") + variable("TESSEL_MEM_MGR_VALUE");
  };
  expect("off", before_and_after, "off off\n- \n- \noff off\n");
  const scoped_variable stale("TESSEL_MEM_MGR_VALUE", "stale");
  expect(std::nullopt, before_and_after, "- \nstale stale\n- \n- \n");
}

/// Makes the manager with a heap of a kind, or -1 for one that does not tell. Returns what it is asked to set.
std::string tune(int kind) {
  std::ostringstream calls;
  const auto heap_of_run_time = reinterpret_cast<HANDLE>(_get_heap_handle());
  injected<decltype(&HeapQueryInformation)> query(library, "HeapQueryInformation");
  injected<decltype(&HeapSetInformation)> set(library, "HeapSetInformation");
  query.handle_with([&](auto, HANDLE heap, auto what, void* value, SIZE_T size, SIZE_T*) -> BOOL {
    calls << (heap == heap_of_run_time) << "query " << what << " " << size << "\n";
    std::memcpy(value, &kind, sizeof kind);
    return kind >= 0;
  });
  set.handle_with([&](auto, HANDLE heap, auto what, void* value, SIZE_T size) -> BOOL {
    calls << (heap == heap_of_run_time) << "set " << what << " " << (value ? *static_cast<ULONG*>(value) : 0) << " "
          << size << "\n";
    return FALSE;
  });
  manager::initialize();
  return calls.str();
}

TEST(Manager, TunesTheHeapOfTheRunTime) {
  const std::string query = "1query 0 4\n", select = "1set 0 2 4\n", end_if_corrupt = "1set 1 0 0\n";
  expect("release", [] { return tune(0); }, query + select);
  expect("integcheck", [] { return tune(0); }, query + select + end_if_corrupt);
  expect("integcheck", [] { return tune(2); }, query + end_if_corrupt);
  expect("release", [] { return tune(-1); }, query);
}

TEST(Manager, HasItsWholeLogOrIsNotMadeWhenMemoryEnds) {
  const scoped_variable alignment("QX_ALIGNED_HEAP_ALIGNMENT", "64");
  const auto make_with_little_memory = [] {
    injected<void* (*)(std::size_t)> malloc("libstdc++-6.dll", "malloc");
    for (std::uint64_t nth = 1, made = 0; made == 0; ++nth) {
      malloc.reset();
      malloc.fail_at(nth, nullptr, 0);
      try {
        manager::initialize();
        made = nth;
      } catch (const std::bad_alloc&) {
      }
    }
    malloc.reset();
    return show();
  };
  expect("off,turbo,debug", make_with_little_memory,
         log_line("using options 'off,turbo,debug'") + log_line("unrecognized option 'turbo'") +
             log_line("option 'debug' must be listed first") + log_line("pooling is DISABLED") +
             log_line("aligned_heap alignment is 64 bytes") + "000000");
}

/// Ends the process while a thread is in the arena, where it waits for pages. Then a destructor frees a block.
std::string end_inside_the_arena() {
  take_plugin_from("plugin_agreeing");
  static void* const block = foundation::core::mem::vector_malloc(100);
  static auto& pages = *new injected<decltype(&VirtualAlloc)>(library, "VirtualAlloc");  // For longer than all threads.
  static std::atomic<bool> inside = false;
  pages.handle_with([](auto...) -> void* {
    inside = true;
    Sleep(INFINITE);
    return nullptr;
  });
  std::thread([] { foundation::core::mem::vector_malloc(1'000'000); }).detach();
  while (!inside) {
    std::this_thread::yield();
  }
  const auto at_unload = GetProcAddress(GetModuleHandleA("libqxtools_mobservation.dll"), "at_unload");
  *reinterpret_cast<void (**)()>(reinterpret_cast<void*>(at_unload)) = [] {
    foundation::core::mem::vector_free(block);
    DWORD put = 0;
    WriteFile(GetStdHandle(STD_ERROR_HANDLE), "freed", 5, &put, nullptr);
  };
  return "ends,";
}

TEST(Manager, ItsArenaOutlivesTheThreadThatTheEndOfTheProcessStoppedInside) {
  const scoped_variable arena("QX_ALIGNED_HEAP_ALIGNMENT", "dlmalloc");
  expect("observation", end_inside_the_arena, "ends,freed");
}

/// Lets the end of the process write its report, to the handle itself, since there may be no memory, and tell by its
/// exit code how many allocations were refused.
void report_at_abort() {
  foundation::core::diag::disable_terminate_dialog();
  std::signal(SIGABRT, [](int) {
    const std::string_view log = foundation::core::diag::terminate_log();
    DWORD put = 0;
    WriteFile(GetStdHandle(STD_ERROR_HANDLE), log.data(), static_cast<DWORD>(log.size()), &put, nullptr);
    std::_Exit(testing::Test::HasFailure() ? 99 : test_support::take_refused_allocations());
  });
}

/// What comes of `new` for a size of which the C++ run-time gets no memory.
std::string outcome_of_new() {
  static constexpr std::size_t size = 7654321;
  injected<void* (*)(std::size_t)> malloc("libstdc++-6.dll", "malloc");
  malloc.handle_with([](auto original, std::size_t wanted) { return wanted == size ? nullptr : original(wanted); });
  try {
    operator delete(operator new(size));
    return "block";
  } catch (const std::bad_alloc& error) {
    return typeid(error) == typeid(std::bad_alloc) ? "std::bad_alloc" : typeid(error).name();
  }
}

TEST(NewHandler, EndsTheProcessForAThreadThatWantsIt) {
  const auto want_it_at_last = []() -> std::string {
    report_at_abort();
    EXPECT_FALSE(manager::set_thread_terminate_on_oom(false));
    EXPECT_FALSE(manager::set_thread_terminate_on_oom(true));
    EXPECT_TRUE(manager::set_thread_terminate_on_oom(true));
    std::thread([] {
      EXPECT_FALSE(manager::set_thread_terminate_on_oom(false));
      EXPECT_EQ(outcome_of_new(), "std::bad_alloc");
    }).join();
    EXPECT_TRUE(manager::set_thread_terminate_on_oom(false));
    EXPECT_EQ(outcome_of_new(), "std::bad_alloc");
    manager::set_thread_terminate_on_oom(true);
    test_support::take_memory_away();
    test_support::take_refused_allocations();
    operator delete(operator new(1));
    return "not ended";
  };
  constexpr int refused = 1;
  expect(std::nullopt, want_it_at_last,
         HasPattern("Assertion failed: Out of memory[^]*Out of memory\r?\n\r?\nCurrent Thread: "), refused);
}

TEST(Plugin, WhatIsMissingOrRefusedStandsInTheLogOfObservation) {
  const scoped_variable log("QX_LOG", "foundation::core::mem::manager::mobservation=note");
  const struct {
    const char* folder;
    std::string first, result, state;
  } cases[] = {
      {"none", "Failed to load Plugin 'libqxtools_mobservation.dll'", "0", "NOT AVAILABLE"},
      {"plugin_wrong", "Failed to find symbol 'mobserveradminapiinit'", "0", "NOT AVAILABLE"},
      {"plugin_refusing", "mobserveradminapiinit returned 0", "0", "NOT AVAILABLE"},
      {"plugin_agreeing", "mobserveradminapiinit returned -3", "-3", "ENABLED"},
  };
  for (const auto& each : cases) {
    const auto show_with_plugin = [&] {
      take_plugin_from(each.folder);
      return show();
    };
    const std::string record = R"([^\n]+::mobservation\] note: )";
    expect("observation", show_with_plugin,
           HasPattern("^" + record + each.first + "\r?\n" + record + "load_and_run_plugin returns " + each.result +
                      "\r?\n" + log_line("using options 'observation'") + log_line("observation is " + each.state)));
  }
}

/// Blocks of a size class that nobody else uses, by all functions that the plug-in counts.
std::string allocate() {
  manager::initialize();
  constexpr std::size_t size = 3000000;
  // Volatile, or the compiler leaves pairs of allocation and release away.
  void* volatile blocks[5];
  for (void* volatile& block : blocks) {
    block = std::malloc(size);
  }
  blocks[0] = std::realloc(blocks[0], size + 1000000);
  void* const volatile zeros = std::calloc(2, size / 2);
  void* const volatile object = operator new(size);  // By way of the C++ run-time.
  operator delete(object);
  void* const volatile grown = std::realloc(nullptr, size);
  for (void* const block : {blocks[1], zeros, grown}) {
    std::free(block);
  }
  return "";
}

TEST(Plugin, CountsTheAllocationsOfItsProcess) {
  const scoped_variable target("QX_MOBSERVATION_REPORT", "stderr");
  // Five blocks, one of them resized, and three that came and went.
  expect("observation", allocate,
         HasPattern("^C run-time allocations of process \\d+, observed by \\d+ redirected imports\n +block up to "
                    "+allocations +bytes +frees +live[^]*\n         4194304               9        28000000          "
                    "     5               4        13000000        22000000\n[^]* +all( +-?\\d+){6}\n$"));
}

TEST(Plugin, SaysWhyItDoesNotObserve) {
  const test_support::temp_dir folder;
  const std::string report = folder.file("report");
  const scoped_variable target("QX_MOBSERVATION_REPORT", report);
  const HMODULE plugin = LoadLibraryW(L"libqxtools_mobservation.dll");
  const auto init =
      reinterpret_cast<int (*)(int)>(reinterpret_cast<void (*)()>(GetProcAddress(plugin, "mobserveradminapiinit")));
  ASSERT_NE(init, nullptr);
  EXPECT_EQ(init(0), 0);
  EXPECT_TRUE(FreeLibrary(plugin));
  EXPECT_EQ(test_support::read_file(report), "C run-time allocations of process " +
                                                 std::to_string(GetCurrentProcessId()) +
                                                 " are not observed: it was not asked for\n");
}

}  // namespace
