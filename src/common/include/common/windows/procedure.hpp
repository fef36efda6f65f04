// Functions of the system that may be missing, and those of libraries that are loaded at run time.
#pragma once

#include <windows.h>

namespace foundation::core::sysdep::windows {

/// The exported function `name` of a loaded module, as a pointer of type `Function`; null if `module` is null or has
/// none of that name. The caller vouches for the type. Where the module has none, the last error says why. Any thread.
template <class Function>
Function find_procedure(HMODULE module, const char* name) noexcept {
  // By way of a function type that stands for any: the compiler warns of a direct cast.
  return module == nullptr ? nullptr
                           : reinterpret_cast<Function>(reinterpret_cast<void (*)()>(::GetProcAddress(module, name)));
}

}  // namespace foundation::core::sysdep::windows
