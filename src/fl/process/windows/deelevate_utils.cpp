#include <fl/sysdep/windows/deelevate_utils.hpp>

#include "process/windows/handle_closer.hpp"
#include "process/windows/last_error.hpp"

#include <windows.h>

namespace foundation::core::sysdep::windows {

int IsTokenElevated(void* token) {
  constexpr const char* failure = "Cannot de-elevate: cannot confirm if process is elevated.";
  void* own_token = nullptr;
  const HandleCloser<void*> closer(own_token);
  if (!token) {
    if (!::OpenProcessToken(::GetCurrentProcess(), TOKEN_QUERY, &own_token))
      throw_unlogged_error(::GetLastError(), failure);
    token = own_token;
  }
  TOKEN_ELEVATION elevation = {};
  DWORD length = 0;
  if (!::GetTokenInformation(token, TokenElevation, &elevation, sizeof elevation, &length))
    throw_unlogged_error(::GetLastError(), failure);
  return elevation.TokenIsElevated != 0 ? 1 : 0;
}

}  // namespace foundation::core::sysdep::windows
