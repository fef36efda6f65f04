#include "process/child/exit_code.hpp"

#include "process/windows/last_error.hpp"

#include <windows.h>

#include <cstdint>

namespace foundation::core::sysdep::windows {

process::exit_status_variant read_exit_status(void* handle) {
  DWORD code = 0;
  if (!::GetExitCodeProcess(handle, &code)) {
    throw_last_error(::GetLastError(), "GetExitCodeProcess");
  }
  if (code == STILL_ACTIVE) {
    return process::detail::unknown{};
  }
  return process::detail::exited{static_cast<std::uint32_t>(code), static_cast<std::uint32_t>(code)};
}

}  // namespace foundation::core::sysdep::windows
