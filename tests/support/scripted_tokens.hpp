// A system that is asked about tokens, processes and their users, and answers from a script. Its handles are real, made
// of this process's own token, so that children do start under them and a leak is seen; what they are said to be is
// not. Every call that goes through it is recorded.
#pragma once

#include "every_test.hpp"
#include "import_patch.hpp"

#include <windows.h>
#include <sddl.h>
#include <tlhelp32.h>
#include <userenv.h>
#include <winsafer.h>

// The narrow forms are meant.
#undef PROCESSENTRY32
#undef Process32First
#undef Process32Next

// Each source has its own: the watched functions are types of the source.
namespace {

class scripted_tokens {
  template <class Function, class Tag = decltype([]() -> void {})>
  using injected = test_support::injected<Function, Tag>;
  static constexpr DWORD foreign_process = 0xF0F0F0;

  std::map<HANDLE, std::string> kinds_;  // of processes and tokens
  std::size_t next_ = 0;                 // in the list of processes
  int privileges_asked_ = 0;
  std::function<void()> on_end_;  // of the child

 public:
  // The script.
  bool elevated = true;  // this process
  int uac = 1;           // 1 on, 0 off, -1 cannot be read
  enum { usable, used_elevated, absent } shell = usable;
  enum { present, missing, unreadable } privilege = present;  // of the shell's token
  bool medium_elevated = false;
  bool real_children = false;  // else an event stands for a child that has ended
  bool ends_early = false;     // the child, before the handle of its wait is known

  std::string record;              // the calls, each with what it was asked for
  std::string under;               // whose token the child was started under
  const char* password = nullptr;  // of the logon
  int things_open = 0;             // levels, keys, profiles and environments: what is no handle

  void begin_again() {
    record.clear();
    under.clear();
    privileges_asked_ = 0;
  }

  /// Tells whoever waits for the child, which ends by itself.
  void end_child() {
    if (const auto on_end = std::exchange(on_end_, nullptr)) {
      on_end();
    }
  }

  /// What a logon gives.
  BOOL give_token(HANDLE* token, const std::string& kind) {
    HANDLE own = nullptr;
    ::OpenProcessToken(::GetCurrentProcess(), TOKEN_DUPLICATE, &own);
    ::DuplicateTokenEx(own, TOKEN_ALL_ACCESS, nullptr, SecurityImpersonation, TokenPrimary, token);
    ::CloseHandle(own);
    kinds_[*token] = kind;  // A handle's value comes again when it was closed.
    return TRUE;
  }

 private:
  template <class... Parts>
  void note(const Parts&... parts) {
    std::ostringstream text;
    (text << ... << parts);
    record += (record.empty() ? "" : ", ") + text.str();
  }

  // What stands for a key, a level or a profile is this object.
  BOOL take_back(const char* call, void* thing) {
    note(call);
    things_open -= thing == this;
    return TRUE;
  }

  std::string kind(HANDLE handle) const {
    const auto found = kinds_.find(handle);
    return found == kinds_.end() ? "own" : found->second;
  }

  // An explorer of another user comes first; the names are those of the disk.
  BOOL list(PROCESSENTRY32* entry, std::size_t index) {
    static constexpr const char* names[] = {"System", "EXPLORER.EXE", "explorer.exe.bak", "Explorer.exe"};
    const DWORD ids[] = {4, foreign_process, 8, ::GetCurrentProcessId()};
    next_ = index + 1;
    if (index == (shell == absent ? 3 : 4)) {
      return FALSE;
    }
    std::strcpy(entry->szExeFile, names[index]);
    entry->th32ProcessID = ids[index];
    return entry->dwSize == 304;
  }

  // Processes.
  injected<decltype(&::CreateToolhelp32Snapshot)> snapshot_{"CreateToolhelp32Snapshot",
                                                            [this](auto original, DWORD what, DWORD process) {
                                                              note("snapshot ", what, " ", process);
                                                              return original(what, process);
                                                            }};
  injected<BOOL (*)(HANDLE, PROCESSENTRY32*)> first_process_{
      "Process32First", [this](auto, HANDLE, PROCESSENTRY32* entry) { return list(entry, 0); }};
  injected<BOOL (*)(HANDLE, PROCESSENTRY32*)> next_process_{
      "Process32Next", [this](auto, HANDLE, PROCESSENTRY32* entry) { return list(entry, next_); }};
  injected<decltype(&::OpenProcess)> open_process_{
      "OpenProcess", [this](auto original, DWORD access, BOOL inherit, DWORD id) {
        const HANDLE process = original(access, inherit, ::GetCurrentProcessId());
        kinds_[process] = id == foreign_process ? "foreign" : "shell";
        note("open ", kind(process), " ", access);
        return process;
      }};

  // Questions.
  injected<decltype(&::OpenProcessToken)> open_token_{
      "OpenProcessToken", [this](auto original, HANDLE process, DWORD access, HANDLE* token) {
        const std::string owner = kind(process);
        note("token of ", owner, " ", access);
        const BOOL result = original(process, access, token);
        kinds_[*token] = owner;
        return result;
      }};
  injected<decltype(&::GetTokenInformation)> ask_token_{
      "GetTokenInformation",
      [this](auto original, HANDLE token, TOKEN_INFORMATION_CLASS question, void* answer, DWORD size, DWORD* length) {
        const std::string whose = kind(token);
        if (question == TokenElevation) {
          note("elevation of ", whose);
          static_cast<TOKEN_ELEVATION*>(answer)->TokenIsElevated = whose == "duplicate" ? shell == used_elevated
                                                                   : whose == "medium"  ? medium_elevated
                                                                                        : elevated;
          return BOOL{size == sizeof(TOKEN_ELEVATION)};
        }
        if (question == TokenPrivileges && privilege == unreadable) {
          return FALSE;
        }
        const BOOL result = original(token, question, answer, size, length);
        if (answer && question == TokenUser && whose == "foreign") {  // somebody else
          const PSID user = static_cast<TOKEN_USER*>(answer)->User.Sid;
          *::GetSidSubAuthority(user, *::GetSidSubAuthorityCount(user) - 1u) += 7;
        }
        return result;
      }};
  injected<decltype(&::LookupPrivilegeNameA)> privilege_name_{
      "LookupPrivilegeNameA", [this](auto, LPCSTR system, LUID*, char* text, DWORD* length) {
        if (system || *length != 256 || text[255] != '\0' || ++privileges_asked_ % 2 == 1) {
          return FALSE;  // an entry without a name is passed over
        }
        const bool last = privilege == present && privileges_asked_ % 4 == 0;
        std::strcpy(text, last ? "SeAssignPrimaryTokenPrivilege" : "seassignprimarytokenprivilege");
        return TRUE;
      }};
  injected<decltype(&::RegOpenKeyExA)> open_key_{
      "RegOpenKeyExA", [this](auto, HKEY root, const char* path, DWORD options, REGSAM access, HKEY* key) {
        note("key ", root == HKEY_LOCAL_MACHINE ? path : "elsewhere", " ", options, " ", access);
        ++things_open;
        *key = reinterpret_cast<HKEY>(this);
        return LSTATUS{ERROR_SUCCESS};
      }};
  injected<decltype(&::RegQueryValueExA)> query_value_{
      "RegQueryValueExA", [this](auto, HKEY, const char* value, DWORD*, DWORD*, BYTE* data, DWORD*) {
        note(value);
        *reinterpret_cast<DWORD*>(data) = static_cast<DWORD>(uac);
        return LSTATUS{uac == -1 ? ERROR_FILE_NOT_FOUND : ERROR_SUCCESS};
      }};
  injected<LONG (*)(HKEY)> close_key_{"RegCloseKey", [this](auto, HKEY key) {
                                        return take_back("close key", key) ? ERROR_SUCCESS : ERROR_INVALID_HANDLE;
                                      }};

  // Tokens that are made.
  injected<decltype(&::DuplicateTokenEx)> duplicate_{
      "DuplicateTokenEx",
      [this](auto original, HANDLE token, DWORD access, auto attributes, auto level, auto type, HANDLE* result) {
        note("duplicate ", kind(token), " ", access, " ", level, " ", type);
        const BOOL made = original(token, access, attributes, level, type, result);
        kinds_[*result] = "duplicate";
        return made;
      }};
  injected<decltype(&::SaferCreateLevel)> safer_level_{
      "SaferCreateLevel", [this](auto, DWORD scope, DWORD id, DWORD flags, SAFER_LEVEL_HANDLE* level, void*) {
        note("level ", scope, " ", id, " ", flags);
        *level = reinterpret_cast<SAFER_LEVEL_HANDLE>(this);
        ++things_open;
        return TRUE;
      }};
  injected<decltype(&::SaferComputeTokenFromLevel)> safer_token_{
      "SaferComputeTokenFromLevel", [this](auto, SAFER_LEVEL_HANDLE level, HANDLE in, HANDLE* out, DWORD flags, void*) {
        note("restricted token");
        give_token(out, "medium");
        return BOOL{level == reinterpret_cast<SAFER_LEVEL_HANDLE>(this) && !in && flags == 0};
      }};
  injected<decltype(&::SaferCloseLevel)> close_level_{
      "SaferCloseLevel", [this](auto, auto level) { return take_back("close level", level); }};
  injected<decltype(&::SetTokenInformation)> set_token_{
      "SetTokenInformation", [this](auto, HANDLE token, TOKEN_INFORMATION_CLASS what, void* value, DWORD size) {
        const auto label = static_cast<TOKEN_MANDATORY_LABEL*>(value);
        char* sid = nullptr;
        ::ConvertSidToStringSidA(label->Label.Sid, &sid);
        note("set ", kind(token), " ", what, " ", sid, " ", label->Label.Attributes, " ", size);
        ::LocalFree(sid);
        return TRUE;
      }};

  // Privileges of this process, a user's profile and environment.
  injected<decltype(&::LookupPrivilegeValueA)> privilege_value_{
      "LookupPrivilegeValueA", [this](auto, const char* system, const char* name, LUID* value) {
        note("privilege ", name);
        *value = {4711, 0};
        return BOOL{system == nullptr};
      }};
  injected<decltype(&::LoadUserProfileA)> load_{"LoadUserProfileA", [this](auto, HANDLE token, PROFILEINFOA* info) {
                                                  note("load ", info->dwSize, " ", info->dwFlags, " ",
                                                       info->lpUserName);
                                                  ++things_open;
                                                  info->hProfile = this;
                                                  return BOOL{kind(token) == "user"};
                                                }};
  injected<decltype(&::UnloadUserProfile)> unload_{
      "UnloadUserProfile", [this](auto, HANDLE token, HANDLE profile) {
        DWORD flags = 0;
        EXPECT_TRUE(kind(token) == "user" && ::GetHandleInformation(token, &flags)) << "before the token is closed";
        take_back("unload", profile);
        ::SetLastError(ERROR_BUSY);  // which nobody is to see
        return FALSE;
      }};
  injected<decltype(&::CreateEnvironmentBlock)> make_block_{
      "CreateEnvironmentBlock", [this](auto, void** block, HANDLE token, BOOL inherit) {
        static wchar_t entries[] = L"=C:=C:\\\0zebra=1\0Path=the user's\0no sign\0";
        note("make block");
        ++things_open;
        *block = entries;
        return BOOL{kind(token) == "user" && !inherit};
      }};
  injected<decltype(&::DestroyEnvironmentBlock)> destroy_block_{
      "DestroyEnvironmentBlock", [this](auto, auto) { return take_back("destroy block", this); }};

  // The end of a child under a user.
  injected<decltype(&::RegisterWaitForSingleObject)> wait_{
      "RegisterWaitForSingleObject",
      [this](auto, HANDLE* made, HANDLE child, auto callback, void* context, ULONG time, ULONG flags) {
        note("wait ", static_cast<LONG>(time), " ", flags);
        on_end_ = [=] {
          EXPECT_EQ(::WaitForSingleObject(child, INFINITE), WAIT_OBJECT_0);
          callback(context, FALSE);
        };
        if (ends_early) {
          end_child();
        }
        *made = this;
        return TRUE;
      }};
  injected<decltype(&::UnregisterWaitEx)> unregister_{
      "UnregisterWaitEx", [this](auto, HANDLE wait, HANDLE completion) {
        note(wait == this && !completion ? "unregister" : "unregister something else");
        return TRUE;
      }};

 public:
  injected<decltype(&::LogonUserA)> logon{
      "LogonUserA",
      [this](auto, const char* user, const char* domain, const char* given, DWORD type, DWORD provider, HANDLE* token) {
        note("logon ", user, " ", domain, " ", type, " ", provider);
        password = given;
        return give_token(token, "user");
      }};
  injected<decltype(&::AdjustTokenPrivileges)> adjust{
      "AdjustTokenPrivileges", [this](auto, HANDLE, BOOL disable, TOKEN_PRIVILEGES* privileges, auto...) {
        const LUID_AND_ATTRIBUTES& first = privileges->Privileges[0];
        note("enable ", privileges->PrivilegeCount, " ", first.Luid.LowPart, " ", first.Attributes);
        ::SetLastError(ERROR_SUCCESS);
        return !disable;
      }};
  injected<decltype(&::CreateProcessAsUserW)> create{
      "CreateProcessAsUserW",
      [this](auto original, HANDLE token, auto name, auto line, auto of_process, auto of_thread, BOOL inherit,
             DWORD flags, auto environment, auto directory, auto startup, PROCESS_INFORMATION* made) {
        under = kind(token);
        note("create ", flags);
        if (real_children) {
          return original(token, name, line, of_process, of_thread, inherit, flags, environment, directory, startup,
                          made);
        }
        made->hProcess = ::CreateEventW(nullptr, TRUE, TRUE, nullptr);
        made->hThread = ::CreateEventW(nullptr, TRUE, TRUE, nullptr);
        return TRUE;
      }};
};

}  // namespace
