#include "diag/windows/symbol_service.hpp"

#include "diag/symbol_lookup.hpp"
#include "util/keep_loaded.hpp"
#include "util/waiting.hpp"

// No header declares these together with <windows.h>.
extern "C" __declspec(dllimport) LONG NTAPI LdrLockLoaderLock(ULONG flags, ULONG* state, ULONG_PTR* cookie);
extern "C" __declspec(dllimport) LONG NTAPI LdrUnlockLoaderLock(ULONG flags, ULONG_PTR cookie);

namespace foundation::core::diag {

namespace symbol_service {

namespace {

constexpr const char* library = "dbghelp.dll";

constexpr std::uint64_t longest_wait = 5000;  ///< For the loader, in milliseconds.

constinit std::atomic<DWORD> loading_thread{0};  ///< The one that prepares, or was stopped while it did.

bool try_loader() noexcept {
  constexpr ULONG only_try = 2, locked = 1;
  ULONG state = 0;
  ULONG_PTR cookie = 0;
  if (LdrLockLoaderLock(only_try, &state, &cookie) != 0 || state != locked) {
    return false;
  }
  LdrUnlockLoaderLock(0, cookie);
  return true;
}

}  // namespace

[[gnu::section(".late")]] constinit function<decltype(::SymGetOptions)> get_options{library, "SymGetOptions"};
[[gnu::section(".late")]] constinit function<decltype(::SymSetOptions)> set_options{library, "SymSetOptions"};
[[gnu::section(".late")]] constinit function<decltype(::SymInitialize)> initialize{library, "SymInitialize"};
[[gnu::section(".late")]] constinit function<decltype(::SymCleanup)> cleanup{library, "SymCleanup"};
[[gnu::section(".late")]] constinit function<decltype(::SymFromAddr)> from_address{library, "SymFromAddr"};
[[gnu::section(".late")]] constinit function<decltype(::SymFunctionTableAccess64)> function_table_access{
    library, "SymFunctionTableAccess64"};
[[gnu::section(".late")]] constinit function<decltype(::SymGetModuleBase64)> get_module_base{library,
                                                                                             "SymGetModuleBase64"};
[[gnu::section(".late")]] constinit function<decltype(::StackWalk64)> walk_stack{library, "StackWalk64"};
[[gnu::section(".late")]] constinit function<decltype(::UnDecorateSymbolName)> undecorate_name{library,
                                                                                               "UnDecorateSymbolName"};

// The lock is not kept while the service is loaded: that may have to wait for a thread that loads something, too, and
// has yet to take the lock.
bool loader_is_free() noexcept {
  if (loading_thread == GetCurrentThreadId()) {
    return false;
  }
  const std::uint64_t begin = util::milliseconds_passed();
  for (unsigned turn = 0; !try_loader(); ++turn) {
    if (util::milliseconds_passed() - begin >= longest_wait) {
      return false;
    }
    util::wait_turn(turn);
  }
  return true;
}

}  // namespace symbol_service

void prepare_symbols() noexcept {
  if (symbol_service::loader_is_free()) {
    symbol_service::loading_thread = GetCurrentThreadId();
    symbol_service::initialize.find();
    util::keep_library_loaded();  // The engine and what it has loaded live until the process ends.
    symbol_service::loading_thread = 0;
  }
}

}  // namespace foundation::core::diag
