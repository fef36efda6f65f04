// Modules that must not be left behind by those who have addresses of theirs.
#pragma once

#include <windows.h>

namespace foundation::core::sysdep::windows {

/// Keeps the module that this is compiled into in the process until that ends, whatever its users unload. Where the
/// system refuses, it stays as long as its users keep it. Waits for the loader. Any thread.
inline void keep_module_loaded() noexcept {
  HMODULE self = nullptr;
  ::GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_PIN,
                       reinterpret_cast<const wchar_t*>(&keep_module_loaded), &self);
}

}  // namespace foundation::core::sysdep::windows
