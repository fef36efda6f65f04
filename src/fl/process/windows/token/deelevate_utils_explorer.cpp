// The user's shell: which process it is, and what its token may do.

#include <fl/sysdep/windows/deelevate_utils.hpp>

#include "common/windows/handle_closer.hpp"
#include "loggers.hpp"
#include "process/windows/token/token_information.hpp"

#include <windows.h>
#include <mbstring.h>
#include <tlhelp32.h>

// File names are compared as narrow text: the header's names without a suffix are to be what they say.
#undef PROCESSENTRY32
#undef Process32First
#undef Process32Next

namespace foundation::core::sysdep::windows {

namespace severity = log::severity;

namespace {

// The TOKEN_USER of a process; empty if it cannot be read.
std::vector<std::byte> user_of(HANDLE process) {
  HANDLE token = nullptr;
  const HandleCloser<HANDLE> closer(token);
  if (!::OpenProcessToken(process, TOKEN_QUERY, &token)) {
    return {};
  }
  const DWORD size = token_information_size(token, TokenUser);
  return size < sizeof(TOKEN_USER) ? std::vector<std::byte>() : token_information(token, TokenUser, size);
}

PSID sid_of(const std::vector<std::byte>& user) {
  return reinterpret_cast<const TOKEN_USER*>(user.data())->User.Sid;
}

bool runs_as(DWORD process_id, const std::vector<std::byte>& user) {
  HANDLE process = ::OpenProcess(PROCESS_QUERY_INFORMATION, FALSE, process_id);
  const HandleCloser<HANDLE> closer(process);
  if (!process) {
    return false;
  }
  const std::vector<std::byte> other = user_of(process);
  return !other.empty() && ::EqualSid(sid_of(user), sid_of(other));
}

bool is_explorer(const PROCESSENTRY32& entry) {
  return ::_mbsicmp(reinterpret_cast<const unsigned char*>(entry.szExeFile),
                    reinterpret_cast<const unsigned char*>("explorer.exe")) == 0;
}

}  // namespace

unsigned long GetExplorerProcessId() {
  const std::vector<std::byte> own_user = user_of(::GetCurrentProcess());
  if (own_user.empty()) {
    return 0;
  }
  HANDLE snapshot = ::CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
  if (snapshot == INVALID_HANDLE_VALUE) {
    return 0;
  }
  const HandleCloser<HANDLE> closer(snapshot);
  PROCESSENTRY32 entry = {};
  entry.dwSize = sizeof entry;
  for (BOOL found = ::Process32First(snapshot, &entry); found; found = ::Process32Next(snapshot, &entry)) {
    if (is_explorer(entry) && runs_as(entry.th32ProcessID, own_user)) {
      return entry.th32ProcessID;
    }
  }
  return 0;
}

namespace {

bool is_named(LUID privilege, const char* expected) {
  unsigned char name[256] = {};
  DWORD length = sizeof name;
  return ::LookupPrivilegeNameA(nullptr, &privilege, reinterpret_cast<char*>(name), &length) &&
         ::_mbscmp(name, reinterpret_cast<const unsigned char*>(expected)) == 0;
}

// Whether it is enabled is not asked.
bool holds_privilege(HANDLE token, DWORD size, const char* name) {
  const std::vector<std::byte> answer = token_information(token, TokenPrivileges, size);
  if (answer.empty()) {
    return false;
  }
  const auto privileges = reinterpret_cast<const TOKEN_PRIVILEGES*>(answer.data());
  for (DWORD i = 0; i != privileges->PrivilegeCount; ++i) {
    if (is_named(privileges->Privileges[i].Luid, name)) {
      return true;
    }
  }
  return false;
}

ReplaceTokenRight unknown_because(const char* reason) {
  loggers::deelevate_utils.log(severity::note, reason);
  return ReplaceTokenUnknown;
}

}  // namespace

ReplaceTokenRight CheckReplaceTokenPrivilege() {
  const log::scope_trace trace(loggers::deelevate_utils, __PRETTY_FUNCTION__);
  const DWORD process_id = GetExplorerProcessId();
  if (process_id == 0) {
    return unknown_because("Explorer.exe not found.");
  }
  HANDLE process = ::OpenProcess(PROCESS_QUERY_INFORMATION, FALSE, process_id);
  const HandleCloser<HANDLE> process_closer(process);
  if (!process) {
    return unknown_because("Failed to open explorer.exe process.");
  }
  HANDLE token = nullptr;
  const HandleCloser<HANDLE> token_closer(token);
  if (!::OpenProcessToken(process, TOKEN_QUERY, &token)) {
    return unknown_because("Failed to open process token for explorer.exe");
  }
  const DWORD size = token_information_size(token, TokenPrivileges);
  if (size == 0) {
    return unknown_because("Failed to get token information size");
  }
  const bool found = holds_privilege(token, size, "SeAssignPrimaryTokenPrivilege");
  loggers::deelevate_utils.log(severity::note, found ? "Privilege found" : "Privilege not found");
  return found ? ReplaceTokenPresent : ReplaceTokenAbsent;
}

}  // namespace foundation::core::sysdep::windows
