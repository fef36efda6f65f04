// A system that is asked about tokens, processes and their users, and answers from a script. Its handles are real, made
// of this process's own token, so that children do start under them and a leak is seen; what they are said to be is
// not. Every call that goes through it is recorded.
#pragma once

#include "import_patch.hpp"

#include <windows.h>
#include <sddl.h>
#include <tlhelp32.h>
#include <winsafer.h>

#include <cstring>
#include <map>
#include <string>
#include <vector>

// The narrow forms are meant.
#undef PROCESSENTRY32
#undef Process32First
#undef Process32Next

// Each source has its own: the watched functions are types of the source.
namespace {

class scripted_tokens {
  template <class Function, class Tag = decltype([]() -> void {})>
  using injected = test_support::injected<Function, Tag>;
  static constexpr const char* library = "libqxfl.dll";

 public:
  // The script.
  bool elevated = true;  // this process
  int uac = 1;           // 1 on, 0 off, -1 cannot be read
  enum { usable, used_elevated, absent } shell = usable;
  enum { present, missing, unreadable } privilege = present;  // of the shell's token
  bool medium_elevated = false;

  std::string record;  // the calls, each with what it was asked for
  std::string under;   // whose token the child was started under
  int levels_open = 0;
  PSID open_sid = nullptr;  // made and not freed

  injected<decltype(&::OpenProcessToken)> open_token{library, "OpenProcessToken"};
  injected<decltype(&::GetTokenInformation)> ask_token{library, "GetTokenInformation"};
  injected<decltype(&::OpenProcess)> open_process{library, "OpenProcess"};
  injected<decltype(&::CreateToolhelp32Snapshot)> snapshot{library, "CreateToolhelp32Snapshot"};
  injected<BOOL (*)(HANDLE, PROCESSENTRY32*)> first_process{library, "Process32First"};
  injected<BOOL (*)(HANDLE, PROCESSENTRY32*)> next_process{library, "Process32Next"};
  injected<decltype(&::EqualSid)> equal_users{library, "EqualSid"};
  injected<decltype(&::LookupPrivilegeNameA)> privilege_name{library, "LookupPrivilegeNameA"};
  injected<decltype(&::DuplicateTokenEx)> duplicate{library, "DuplicateTokenEx"};
  injected<decltype(&::SaferCreateLevel)> safer_level{library, "SaferCreateLevel"};
  injected<decltype(&::SaferComputeTokenFromLevel)> safer_token{library, "SaferComputeTokenFromLevel"};
  injected<decltype(&::SaferCloseLevel)> close_level{library, "SaferCloseLevel"};
  injected<decltype(&::ConvertStringSidToSidA)> make_sid{library, "ConvertStringSidToSidA"};
  injected<decltype(&::LocalFree)> free_sid{library, "LocalFree"};
  injected<decltype(&::SetTokenInformation)> set_token{library, "SetTokenInformation"};
  injected<decltype(&::RegOpenKeyExA)> open_key{library, "RegOpenKeyExA"};
  injected<decltype(&::RegQueryValueExA)> query_value{library, "RegQueryValueExA"};
  injected<decltype(&::RegCloseKey)> close_key{library, "RegCloseKey"};
  injected<decltype(&::CreateProcessAsUserW)> create{library, "CreateProcessAsUserW"};

  scripted_tokens() {
    attach_processes();
    attach_questions();
    attach_token_makers();
    attach_registry();
  }

 private:
  static constexpr DWORD foreign_process = 0xF0F0F0;

  void note(const std::string& call) { record += (record.empty() ? "" : ", ") + call; }

  std::string kind(HANDLE handle) const {
    const auto found = kinds_.find(handle);
    return found == kinds_.end() ? "own" : found->second;
  }

  // A handle's value comes again when it was closed.
  void name(HANDLE handle, const std::string& is) { kinds_[handle] = is; }

  static HANDLE own_token() {
    HANDLE own = nullptr;
    HANDLE copy = nullptr;
    ::OpenProcessToken(::GetCurrentProcess(), TOKEN_DUPLICATE, &own);
    ::DuplicateTokenEx(own, TOKEN_ALL_ACCESS, nullptr, SecurityImpersonation, TokenPrimary, &copy);
    ::CloseHandle(own);
    return copy;
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

  void attach_processes() {
    snapshot.handle_with([this](auto original, DWORD what, DWORD process) {
      note("snapshot " + std::to_string(what) + " " + std::to_string(process));
      return original(what, process);
    });
    first_process.handle_with([this](auto, HANDLE, PROCESSENTRY32* entry) { return list(entry, 0); });
    next_process.handle_with([this](auto, HANDLE, PROCESSENTRY32* entry) { return list(entry, next_); });
    open_process.handle_with([this](auto original, DWORD access, BOOL inherit, DWORD id) {
      const HANDLE process = original(access, inherit, ::GetCurrentProcessId());
      name(process, id == foreign_process ? "foreign" : "shell");
      note("open " + kind(process) + " " + std::to_string(access));
      return process;
    });
    open_token.handle_with([this](auto original, HANDLE process, DWORD access, HANDLE* token) {
      const std::string owner = kind(process);
      note("token of " + owner + " " + std::to_string(access));
      const BOOL result = original(process, access, token);
      name(*token, owner);
      return result;
    });
  }

  void attach_questions() {
    ask_token.handle_with(
        [this](auto original, HANDLE token, TOKEN_INFORMATION_CLASS question, void* answer, DWORD size, DWORD* length) {
          if (question == TokenElevation) {
            return answer_elevation(token, answer, size);
          }
          if (question == TokenPrivileges && privilege == unreadable) {
            return FALSE;
          }
          const BOOL result = original(token, question, answer, size, length);
          if (answer && question == TokenUser && kind(token) == "foreign") {  // somebody else
            const PSID user = static_cast<TOKEN_USER*>(answer)->User.Sid;
            *::GetSidSubAuthority(user, *::GetSidSubAuthorityCount(user) - 1u) += 7;
          }
          return result;
        });
    privilege_name.handle_with([this](auto, LPCSTR system, LUID*, char* text, DWORD* length) {
      if (system || *length != 256 || text[255] != '\0' || privilege_name.calls() % 2 == 1) {
        return FALSE;  // an entry without a name is passed over
      }
      const bool last = privilege == present && privilege_name.calls() % 4 == 0;
      std::strcpy(text, last ? "SeAssignPrimaryTokenPrivilege" : "seassignprimarytokenprivilege");
      return TRUE;
    });
  }

  BOOL answer_elevation(HANDLE token, void* answer, DWORD size) {
    const std::string whose = kind(token);
    note("elevation of " + whose);
    static_cast<TOKEN_ELEVATION*>(answer)->TokenIsElevated = whose == "duplicate" ? shell == used_elevated
                                                             : whose == "medium"  ? medium_elevated
                                                                                  : elevated;
    return size == sizeof(TOKEN_ELEVATION);
  }

  void attach_token_makers() {
    duplicate.handle_with([this](auto original, HANDLE token, DWORD access, SECURITY_ATTRIBUTES* attributes,
                                 SECURITY_IMPERSONATION_LEVEL level, TOKEN_TYPE type, HANDLE* result) {
      note("duplicate " + kind(token) + " " + std::to_string(access) + " " + std::to_string(level) + " " +
           std::to_string(type));
      const BOOL made = original(token, access, attributes, level, type, result);
      name(*result, "duplicate");
      return made;
    });
    safer_level.handle_with([this](auto, DWORD scope, DWORD id, DWORD flags, SAFER_LEVEL_HANDLE* level, void*) {
      note("level " + std::to_string(scope) + " " + std::to_string(id) + " " + std::to_string(flags));
      *level = reinterpret_cast<SAFER_LEVEL_HANDLE>(this);
      ++levels_open;
      return TRUE;
    });
    safer_token.handle_with([this](auto, SAFER_LEVEL_HANDLE level, HANDLE in, HANDLE* out, DWORD flags, void*) {
      note("restricted token");
      *out = own_token();
      name(*out, "medium");
      return level == reinterpret_cast<SAFER_LEVEL_HANDLE>(this) && !in && flags == 0;
    });
    close_level.handle_with([this](auto, SAFER_LEVEL_HANDLE level) {
      note("close level");
      --levels_open;
      return level == reinterpret_cast<SAFER_LEVEL_HANDLE>(this);
    });
    make_sid.handle_with([this](auto original, const char* text, PSID* made) {
      const BOOL result = original(text, made);
      open_sid = *made;
      return result;
    });
    free_sid.handle_with([this](auto original, HLOCAL memory) {
      if (memory == open_sid) {
        open_sid = nullptr;
      }
      return original(memory);
    });
    set_token.handle_with([this](auto, HANDLE token, TOKEN_INFORMATION_CLASS what, void* value, DWORD size) {
      const auto label = static_cast<TOKEN_MANDATORY_LABEL*>(value);
      char* sid = nullptr;
      ::ConvertSidToStringSidA(label->Label.Sid, &sid);
      note("set " + kind(token) + " " + std::to_string(what) + " " + sid + " " +
           std::to_string(label->Label.Attributes) + " " + std::to_string(size));
      ::LocalFree(sid);
      return TRUE;
    });
    create.handle_with([this](auto original, HANDLE token, auto... rest) {
      under = kind(token);
      return original(token, rest...);
    });
  }

  void attach_registry() {
    open_key.handle_with([this](auto, HKEY root, const char* path, DWORD options, REGSAM access, HKEY* key) {
      note("key " + std::string(root == HKEY_LOCAL_MACHINE ? path : "elsewhere") + " " + std::to_string(options) + " " +
           std::to_string(access));
      *key = reinterpret_cast<HKEY>(this);
      return LSTATUS{ERROR_SUCCESS};
    });
    query_value.handle_with([this](auto, HKEY, const char* value, DWORD*, DWORD*, BYTE* data, DWORD*) {
      note(value);
      *reinterpret_cast<DWORD*>(data) = static_cast<DWORD>(uac);
      return uac == -1 ? LSTATUS{ERROR_FILE_NOT_FOUND} : LSTATUS{ERROR_SUCCESS};
    });
    close_key.handle_with([this](auto, HKEY key) {
      note("close key");
      return LSTATUS{key == reinterpret_cast<HKEY>(this) ? ERROR_SUCCESS : ERROR_INVALID_HANDLE};
    });
  }

  std::map<HANDLE, std::string> kinds_;  // of processes and tokens
  std::size_t next_ = 0;                 // in the list of processes
};

}  // namespace
