// Functions of system libraries that most programs never call: the library is loaded when one of its functions is first
// asked for, and not at the start of every program that links ours.
//
//   constinit late_function<decltype(::ShellExecuteExW)> shell_execute [[gnu::section(".late")]]{"shell32.dll",
//                                                                                                "ShellExecuteExW"};
//
// All of a module's stand in its section ".late", where others find them, as they find imports in the import table.
//
// A library is taken from the system's folder alone, where nobody can plant another one of that name; if the program
// has one of that name already, from wherever, it is that one. It stays loaded. Loading takes the loader's lock and
// allocates, which is no matter for a launch or a question, and one for the fatal path: see diag/windows/symbol_engine.
//
// Thread safety: any thread. Constant-initialised.
#pragma once

#include "common/windows/procedure.hpp"

#include <windows.h>

#include <atomic>

namespace foundation::core::sysdep::windows {

/// In the section they stand side by side, without gaps: the compiler aligns objects of this size so of its own accord.
struct alignas(32) late_import {
  using any_function = void (*)();

  const char* library;  ///< file name
  const char* name;
  std::atomic<any_function> function{nullptr};  ///< null until it has been found

  constexpr late_import(const char* from, const char* called) noexcept : library(from), name(called) {}

  /// The function, loaded if need be. Null if library or function are missing; then the last error says why, and the
  /// next call tries again.
  any_function find() noexcept {
    if (const any_function found = function.load(std::memory_order_acquire)) {
      return found;
    }
    const HMODULE module = ::LoadLibraryExA(library, nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32);
    const auto found = find_procedure<any_function>(module, name);
    if (found != nullptr) {
      function.store(found, std::memory_order_release);
    } else if (module != nullptr) {
      const DWORD last_error = ::GetLastError();
      ::FreeLibrary(module);
      ::SetLastError(last_error);
    }
    return found;
  }
};

template <class Function>
class late_function;

/// `Result(Arguments...)` is the type of the function, spelt out where the compiler complains of ignored attributes.
template <class Result, class... Arguments>
class late_function<Result(Arguments...)> : public late_import {
 public:
  using late_import::late_import;

  /// Null if it is missing, as above.
  auto get() noexcept { return reinterpret_cast<Result (*)(Arguments...)>(find()); }

  /// Calls the function, for one whose failure is 0: that is what comes of it if it is missing, too.
  Result operator()(Arguments... arguments) noexcept {
    const auto call = get();
    return call != nullptr ? call(arguments...) : Result{};
  }
};

}  // namespace foundation::core::sysdep::windows
