// What the memory manager does to a process, each time in a process of its own, as seen by manager_test: mem_child
// MODE. Facts go to standard output, records and reports to standard error.

#include <fl/diag.hpp>
#include <fl/except/bad_alloc.hpp>
#include <fl/mem.hpp>

#include "import_patch.hpp"
#include "memory_shortage.hpp"
#include "support.hpp"

#include <boost/lexical_cast/bad_lexical_cast.hpp>

#include <windows.h>
#include <malloc.h>
#include <process.h>

#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <new>
#include <string>
#include <string_view>
#include <thread>
#include <typeinfo>
#include <vector>

namespace {

using foundation::core::mem::manager;
using test_support::injected;

constexpr const char* library = "libqxfl.dll";

/// The start-up log, and '1' or '0' for each feature.
void show() {
  manager::write_startup_log(std::cout);
  for (const auto type : manager::get_feature_types()) {
    std::cout << (manager::get_feature(type) ? '1' : '0');
  }
  std::cout << "\n";
}

/// As the run-time and as the system have it.
void print_environment() {
  for (const char* const name : {"TESSEL_MEM_MGR", "TESSEL_MEM_MGR_VALUE"}) {
    const char* const value = std::getenv(name);
    char of_system[100];
    const DWORD length = GetEnvironmentVariableA(name, of_system, sizeof of_system);
    std::cout << (value != nullptr ? value : "-") << " " << (length != 0 ? of_system : "-") << "\n";
  }
}

void environment() {
  print_environment();
  manager::initialize();
  print_environment();
  std::cout.flush();
  // By the run-time: the symbol service of Wine crashes over the debug information of programs with Boost.Process.
  _spawnl(_P_WAIT, test_support::child_path("mem_child").c_str(), "mem_child", "show", nullptr);
}

/// Lets allocations of one size by the C++ run-time fail; all others succeed.
class failing_malloc {
 public:
  static constexpr std::size_t size = 7654321;

  failing_malloc() : malloc_("libstdc++-6.dll", "malloc") {
    malloc_.handle_with([](auto original, std::size_t wanted) { return wanted == size ? nullptr : original(wanted); });
  }

 private:
  injected<void* (*)(std::size_t)> malloc_;
};

/// What comes of `new` for a size that may fail.
std::string outcome_of_new() {
  try {
    operator delete(operator new(failing_malloc::size));
    return "block";
  } catch (const foundation::core::except::detail::bad_alloc_impl& error) {
    return std::string("except::bad_alloc ") + error.what();
  } catch (const std::bad_alloc& error) {
    return typeid(error) == typeid(std::bad_alloc) ? "std::bad_alloc" : typeid(error).name();
  }
}

/// The construction fails behind the new handler's installation. The next attempt must not take the manager's own
/// handler for another's, which would call itself for ever.
void make_again() {
  injected<decltype(&LoadLibraryA)> load(library, "LoadLibraryA");
  for (int i = 0; i != 2; ++i) {
    try {
      manager::initialize();
    } catch (const boost::bad_lexical_cast&) {
      std::cout << "bad_lexical_cast\n";
    }
  }
  _putenv_s("QX_ALIGNED_HEAP_ALIGNMENT", "64");
  _putenv_s("TESSEL_MEM_MGR", "debug");
  show();
  // In case it does call itself, the process is not to stay for ever either.
  std::thread([] {
    Sleep(60000);
    foundation::core::app::fast_exit(1);
  }).detach();
  const failing_malloc always;
  std::cout << outcome_of_new() << " " << load.calls() << "\n";
}

void terminate_per_thread() {
  std::cout << manager::set_thread_terminate_on_oom(false) << manager::set_thread_terminate_on_oom(true)
            << manager::set_thread_terminate_on_oom(true);
  std::thread([] {
    const failing_malloc always;
    std::cout << manager::set_thread_terminate_on_oom(false) << outcome_of_new();
  }).join();
  std::cout << manager::set_thread_terminate_on_oom(false);
  {
    const failing_malloc always;
    std::cout << outcome_of_new() << std::endl;
  }
  manager::set_thread_terminate_on_oom(true);
  test_support::take_memory_away();
  test_support::take_refused_allocations();
  operator delete(operator new(1));
}

void reinit() {
  manager::initialize();
  std::set_new_handler([] {});
  manager::reinit_new_handler();
}

/// Makes the manager with a heap of a kind, or -1 for one that does not tell, and prints what it is asked to set.
void tune(int kind) {
  injected<decltype(&HeapQueryInformation)> query(library, "HeapQueryInformation");
  injected<decltype(&HeapSetInformation)> set(library, "HeapSetInformation");
  const auto ours = [](HANDLE heap) {
    return heap == reinterpret_cast<HANDLE>(_get_heap_handle()) ? "" : "other heap ";
  };
  query.handle_with([=](auto, HANDLE heap, auto what, void* value, SIZE_T size, SIZE_T*) -> BOOL {
    std::cout << ours(heap) << "query " << what << " " << size << "\n";
    std::memcpy(value, &kind, sizeof kind);
    return kind >= 0;
  });
  set.handle_with([=](auto, HANDLE heap, auto what, void* value, SIZE_T size) -> BOOL {
    std::cout << ours(heap) << "set " << what << " " << (value ? *static_cast<ULONG*>(value) : 0) << " " << size
              << "\n";
    return FALSE;
  });
  manager::initialize();
}

/// Blocks of a size class that nobody else uses, by all functions that the plug-in counts.
void allocate() {
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
}

/// Makes the manager while one allocation after the other fails, until it needs no more of them.
void make_with_little_memory() {
  injected<void* (*)(std::size_t)> malloc("libstdc++-6.dll", "malloc");
  for (std::uint64_t nth = 1;; ++nth) {
    malloc.reset();
    malloc.fail_at(nth, nullptr, 0);
    try {
      manager::initialize();
      break;
    } catch (const std::bad_alloc&) {
    }
  }
  malloc.reset();
  show();
}

/// Ends the process while a thread is in the arena, where it waits for pages. Then a destructor frees a block.
void end_inside_the_arena() {
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
    WriteFile(GetStdHandle(STD_OUTPUT_HANDLE), "freed\n", 6, &put, nullptr);
  };
}

const struct {
  const char* name;
  void (*run)();
} modes[] = {
    {"show", show},
    {"environment", environment},
    {"again", make_again},
    {"terminate per thread", terminate_per_thread},
    {"reinit", reinit},
    {"tune 0", [] { tune(0); }},
    {"tune 2", [] { tune(2); }},
    {"tune unknown", [] { tune(-1); }},
    {"allocate", allocate},
    {"little memory", make_with_little_memory},
    {"end inside the arena", end_inside_the_arena},
};

/// To the handle itself: there may be no memory.
void on_abort(int) {
  char count[32];
  DWORD put = 0;
  const int length = std::snprintf(count, sizeof count, "%d refused\n", test_support::take_refused_allocations());
  const HANDLE errors = GetStdHandle(STD_ERROR_HANDLE);
  WriteFile(errors, count, static_cast<DWORD>(length), &put, nullptr);
  const std::string_view log = foundation::core::diag::terminate_log();
  WriteFile(errors, log.data(), static_cast<DWORD>(log.size()), &put, nullptr);
}

/// Lets the plug-in be looked for in a folder beside the program, and nowhere else.
void choose_plugin() {
  if (const wchar_t* const folder = _wgetenv(L"MEM_CHILD_PLUGIN")) {
    SetDefaultDllDirectories(LOAD_LIBRARY_SEARCH_USER_DIRS);
    const std::wstring program = test_support::widen(test_support::child_path(""));
    AddDllDirectory((program.substr(0, program.rfind(L'\\') + 1) + folder).c_str());
  }
}

}  // namespace

int main(int, char** arguments) {
  std::signal(SIGABRT, on_abort);
  foundation::core::diag::disable_terminate_dialog();
  choose_plugin();
  for (const auto& mode : modes) {
    if (std::strcmp(arguments[1], mode.name) == 0) {
      mode.run();
    }
  }
  return 0;
}
