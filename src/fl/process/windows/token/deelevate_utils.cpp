#include <fl/sysdep/windows/deelevate_utils.hpp>

#include "common/windows/handle_closer.hpp"
#include "common/windows/system_error.hpp"
#include "loggers.hpp"
#include "process/windows/last_error.hpp"

#include <windows.h>
#include <sddl.h>
#include <winsafer.h>

namespace foundation::core::sysdep::windows {

int IsTokenElevated(void* token) {
  constexpr const char* failure = "Cannot de-elevate: cannot confirm if process is elevated.";
  void* own_token = nullptr;
  const HandleCloser<void*> closer(own_token);
  if (!token) {
    if (!::OpenProcessToken(::GetCurrentProcess(), TOKEN_QUERY, &own_token)) {
      throw_system_error(::GetLastError(), failure, BOOST_CURRENT_LOCATION);
    }
    token = own_token;
  }
  TOKEN_ELEVATION elevation = {};
  DWORD length = 0;
  if (!::GetTokenInformation(token, TokenElevation, &elevation, sizeof elevation, &length)) {
    throw_system_error(::GetLastError(), failure, BOOST_CURRENT_LOCATION);
  }
  return elevation.TokenIsElevated != 0 ? 1 : 0;
}

namespace {

// The setting "EnableLUA" of the machine's policies; false if it cannot be read.
bool read_enable_lua(DWORD& value) {
  HKEY key = nullptr;
  const HandleCloser<HKEY> closer(key, [](HKEY& opened) { ::RegCloseKey(opened); });
  if (::RegOpenKeyExA(HKEY_LOCAL_MACHINE, "SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Policies\\System", 0, KEY_READ,
                      &key) != ERROR_SUCCESS) {
    return false;
  }
  DWORD type = REG_DWORD;
  DWORD size = sizeof value;
  const LSTATUS result = ::RegQueryValueExA(key, "EnableLUA", nullptr, &type, reinterpret_cast<BYTE*>(&value), &size);
  return result == ERROR_SUCCESS && type == REG_DWORD && size == sizeof value;
}

}  // namespace

int IsUacEnabled() {
  DWORD enabled = 0;
  if (read_enable_lua(enabled)) {
    return enabled != 0 ? 1 : 0;
  }
  loggers::deelevate_utils.log(log::severity::note, "Cannot determine UAC status");
  return -1;
}

void* GetNonElevatedToken() {
  const DWORD process_id = GetExplorerProcessId();
  if (process_id == 0) {
    return nullptr;
  }
  HANDLE process = ::OpenProcess(PROCESS_QUERY_INFORMATION, FALSE, process_id);
  const HandleCloser<HANDLE> process_closer(process);
  if (!process) {
    throw_system_error(::GetLastError(), "Cannot get non-elevated token: Failed to open the explorer process",
                       BOOST_CURRENT_LOCATION);
  }
  HANDLE token = nullptr;
  const HandleCloser<HANDLE> token_closer(token);
  if (!::OpenProcessToken(process, TOKEN_DUPLICATE, &token)) {
    throw_system_error(::GetLastError(), "Cannot get non-elevated token: Failed to open the explorer's token",
                       BOOST_CURRENT_LOCATION);
  }
  HANDLE result = nullptr;
  if (!::DuplicateTokenEx(token, TOKEN_ALL_ACCESS, nullptr, SecurityImpersonation, TokenPrimary, &result)) {
    throw_system_error(::GetLastError(), "Cannot get non-elevated token: Failed to duplicate the token",
                       BOOST_CURRENT_LOCATION);
  }
  return result;
}

namespace {

void set_medium_integrity(HANDLE token) {
  TOKEN_MANDATORY_LABEL label = {};
  label.Label.Attributes = SE_GROUP_INTEGRITY;
  const HandleCloser<PSID> sid_closer(label.Label.Sid, [](PSID& sid) { ::LocalFree(sid); });
  if (!::ConvertStringSidToSidA("S-1-16-8192", &label.Label.Sid)) {
    throw_system_error(::GetLastError(), "Cannot get medium integrity token: ConvertStringSidToSid failed",
                       BOOST_CURRENT_LOCATION);
  }
  if (!::SetTokenInformation(token, TokenIntegrityLevel, &label, sizeof label)) {
    throw_system_error(::GetLastError(), "Cannot get medium integrity token: SetTokenInformation failed",
                       BOOST_CURRENT_LOCATION);
  }
}

}  // namespace

void* GetMediumIntegrityToken() {
  SAFER_LEVEL_HANDLE level = nullptr;
  const HandleCloser<SAFER_LEVEL_HANDLE> level_closer(level, [](SAFER_LEVEL_HANDLE& held) { ::SaferCloseLevel(held); });
  if (!::SaferCreateLevel(SAFER_SCOPEID_USER, SAFER_LEVELID_NORMALUSER, SAFER_LEVEL_OPEN, &level, nullptr)) {
    throw_system_error(::GetLastError(), "Cannot get medium integrity token: SaferCreateLevel failed",
                       BOOST_CURRENT_LOCATION);
  }
  HANDLE token = nullptr;
  HandleCloser<HANDLE> token_closer(token);
  if (!::SaferComputeTokenFromLevel(level, nullptr, &token, 0, nullptr)) {
    throw_system_error(::GetLastError(), "Cannot get medium integrity token: SaferComputeTokenFromLevel failed",
                       BOOST_CURRENT_LOCATION);
  }
  set_medium_integrity(token);
  token_closer.mode = CloseOnDestruction::leave;
  return token;
}

void EnablePrivilege(const char* name) {
  HANDLE token = nullptr;
  const HandleCloser<HANDLE> closer(token);
  if (!::OpenProcessToken(::GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY, &token)) {
    throw_last_error(::GetLastError(), "OpenProcessToken");
  }
  TOKEN_PRIVILEGES privileges = {};
  privileges.PrivilegeCount = 1;
  privileges.Privileges[0].Attributes = SE_PRIVILEGE_ENABLED;
  if (!::LookupPrivilegeValueA(nullptr, name, &privileges.Privileges[0].Luid)) {
    throw_last_error(::GetLastError(), "LookupPrivilegeValue");
  }
  const BOOL adjusted = ::AdjustTokenPrivileges(token, FALSE, &privileges, 0, nullptr, nullptr);
  // The call succeeds, too, when this process does not hold the privilege, and shows so by the last error alone.
  const DWORD code = ::GetLastError();
  if (!adjusted || code == ERROR_NOT_ALL_ASSIGNED) {
    throw_last_error(code, "AdjustTokenPrivileges");
  }
}

}  // namespace foundation::core::sysdep::windows
