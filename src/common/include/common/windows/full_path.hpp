// The absolute form of a path, as the system sees it.
#pragma once

#include <windows.h>

#include <string>

namespace foundation::core::sysdep::windows {

/// `path` behind the current directory, or as it is if it is absolute; empty if the system refuses. Any thread; the
/// current directory may change meanwhile. Throws std::bad_alloc.
inline std::wstring full_path(const std::wstring& path) {
  std::wstring result(MAX_PATH, L'\0');
  for (;;) {
    const DWORD length = ::GetFullPathNameW(path.c_str(), static_cast<DWORD>(result.size()), result.data(), nullptr);
    const bool fits = length < result.size();
    result.resize(length);  // With the zero at the end if it does not fit; the current directory may grow meanwhile.
    if (fits) {
      return result;
    }
  }
}

}  // namespace foundation::core::sysdep::windows
