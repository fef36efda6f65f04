// Where the files lie that belong to a module.
#pragma once

#include <windows.h>

#include <string>

namespace foundation::core::sysdep::windows {

/// The absolute folder of the module that this is compiled into, with a backslash at its end; empty if the system
/// refuses, and then the last error says why. What a module loads or starts that belongs to it is named by this: a bare
/// name would be looked for in other folders, too, where others may be able to write. Any thread. Throws
/// std::bad_alloc.
inline std::wstring own_folder() {
  HMODULE self = nullptr;
  ::GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                       reinterpret_cast<const wchar_t*>(&own_folder), &self);
  constexpr DWORD longest = 32768;  // units, with the zero
  std::wstring file(longest, L'\0');
  const DWORD length = ::GetModuleFileNameW(self, file.data(), longest);
  file.resize(length);
  file.resize(file.find_last_of(L"\\/") + 1);
  return file;
}

}  // namespace foundation::core::sysdep::windows
