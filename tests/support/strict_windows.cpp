#include "strict_windows.hpp"

#include "import_patch.hpp"

#include <windows.h>
#include <psapi.h>
#include <tlhelp32.h>

#include <cstdio>
#include <span>

// The library calls the narrow one, and a header's macro may stand for either.
#undef PROCESSENTRY32
#undef Process32First

namespace test_support {
namespace {

constexpr const char* modules[] = {"libqxfl.dll", "libqxkit.dll", "libqxi18n.dll", "libqxfoundation_log.dll",
                                   "libqxsafe_env.dll"};

// What is wrong with a call, and the last error that Windows answers with. Only a breach fails the test.
struct objection {
  DWORD error = NO_ERROR;
  const char* breach = nullptr;
};

objection breach_if(bool wrong, DWORD error, const char* what) {
  return wrong ? objection{error, what} : objection{};
}

objection refuse_if(bool wrong, DWORD error) {
  return {wrong ? error : NO_ERROR, nullptr};
}

objection first_of(std::initializer_list<objection> all) {
  const auto found = std::find_if(all.begin(), all.end(), [](const objection& each) { return each.error != NO_ERROR; });
  return found == all.end() ? objection{} : *found;
}

void report(const char* call, const char* breach) {
  std::fprintf(stderr, "strict windows: %s: %s\n", call, breach);
  ADD_FAILURE() << "strict windows: " << call << ": " << breach;
}

// What one module calls in place of `Function`. The type of the check tells one call from another.
template <class Check, std::size_t Module, class Function>
struct guard;

template <class Check, std::size_t Module, class Result, class... Arguments>
struct guard<Check, Module, Result (*)(Arguments...)> {
  static inline std::atomic<import_patch::any_function> original;
  static inline const char* name;
  static inline Result failure;

  static Result call(Arguments... arguments) {
    const DWORD last_error = ::GetLastError();
    const objection found = Check{}(arguments...);
    ::SetLastError(last_error);
    if (found.error == NO_ERROR) {
      return reinterpret_cast<Result (*)(Arguments...)>(original.load())(arguments...);
    }
    if (found.breach != nullptr) {
      report(name, found.breach);
    }
    ::SetLastError(found.error);
    return failure;
  }

  static void install(const char* module, const char* function, Result result) {
    name = function;
    failure = result;
    try {
      new import_patch(module, function, reinterpret_cast<import_patch::any_function>(&call), original);
    } catch (const std::runtime_error&) {
      // This module is not part of the program, or does not call it.
    }
  }
};

// `Check` sees the arguments of each call, and `failure` is what comes of one that it objects to.
template <class Result, class... Arguments, class Check>
void watch(Result (*)(Arguments...), const char* name, std::type_identity_t<Result> failure, Check) {
  [&]<std::size_t... Module>(std::index_sequence<Module...>) {
    (guard<Check, Module, Result (*)(Arguments...)>::install(modules[Module], name, failure), ...);
  }(std::make_index_sequence<std::size(modules)>());
}

// ---- rules ----

bool is_open(HANDLE handle) {
  DWORD flags = 0;
  return ::GetHandleInformation(handle, &flags) != FALSE;
}

bool is_pseudo(HANDLE handle) {
  const auto number = reinterpret_cast<std::intptr_t>(handle);
  return number < 0 && number >= -6;
}

bool is_inheritable(HANDLE handle) {
  DWORD flags = 0;
  return !is_pseudo(handle) && ::GetHandleInformation(handle, &flags) && (flags & HANDLE_FLAG_INHERIT) != 0;
}

// Allocates nothing, as no check may on the way of a crash.
bool are_different(std::span<const HANDLE> handles) {
  for (; !handles.empty(); handles = handles.subspan(1)) {
    if (std::count(handles.begin(), handles.end(), handles.front()) != 1) {
      return false;
    }
  }
  return true;
}

bool is_beyond_the_limit(const char* name) {
  return std::strlen(name) >= MAX_PATH;
}

bool is_beyond_the_limit(const wchar_t* name) {
  const std::wstring_view text(name);
  return text.size() >= MAX_PATH && !text.starts_with(L"\\\\?\\") && !text.starts_with(L"\\\\.\\");
}

std::size_t narrow_block_size(const void* block) {
  const char* const begin = static_cast<const char*>(block);
  const char* end = begin;
  while (*end != '\0' || end[1] != '\0') {
    ++end;
  }
  return static_cast<std::size_t>(end - begin) + 2;
}

// Where a thread keeps the attribute list of the launch that it prepares, if that names handles. No `thread_local`:
// clang and its linker lose one that only this file sees.
const DWORD list_of_handles = ::TlsAlloc();

objection of_creation(const wchar_t* line, BOOL inherit, DWORD flags, const void* environment,
                      const STARTUPINFOW* startup) {
  const bool extended = (flags & EXTENDED_STARTUPINFO_PRESENT) != 0;
  const void* const list = extended ? reinterpret_cast<const STARTUPINFOEXW*>(startup)->lpAttributeList : nullptr;
  const bool narrow = environment != nullptr && (flags & CREATE_UNICODE_ENVIRONMENT) == 0;
  return first_of({
      breach_if(startup->cb != (extended ? sizeof(STARTUPINFOEXW) : sizeof(STARTUPINFOW)), ERROR_INVALID_PARAMETER,
                "a wrong size of the startup data"),
      breach_if(!inherit && list != nullptr && list == ::TlsGetValue(list_of_handles), ERROR_INVALID_PARAMETER,
                "a list of handles for a child that inherits none"),
      breach_if(narrow && narrow_block_size(environment) > 32767, ERROR_INVALID_PARAMETER,
                "a narrow environment that is too large"),
      refuse_if(std::wcslen(line) >= 32767, ERROR_FILENAME_EXCED_RANGE),
  });
}

bool is_primary(HANDLE token) {
  TOKEN_TYPE type = TokenPrimary;
  DWORD size = 0;
  return !::GetTokenInformation(token, TokenType, &type, sizeof type, &size) || type == TokenPrimary;
}

objection of_attribute(void* list, DWORD_PTR number, const void* value, SIZE_T size) {
  const auto* const first = static_cast<const HANDLE*>(value);
  const std::span handles(first, size / sizeof(HANDLE));
  const bool listed = number == PROC_THREAD_ATTRIBUTE_HANDLE_LIST;
  if (listed) {
    ::TlsSetValue(list_of_handles, list);
  }
  return first_of({
      breach_if(size == 0 || size % sizeof(HANDLE) != 0, ERROR_BAD_LENGTH, "a list of no size that handles have"),
      breach_if(listed && !std::all_of(handles.begin(), handles.end(), is_inheritable), ERROR_INVALID_PARAMETER,
                "a listed handle is not inheritable"),
      breach_if(!are_different(handles), ERROR_INVALID_PARAMETER, "a handle is listed twice"),
  });
}

// Pages whose flags must be 0.
bool takes_no_flags(UINT page) {
  return (page >= 50220 && page <= 50229) || (page >= 57002 && page <= 57011) || page == CP_UTF7 || page == 42;
}

bool has_ended(HANDLE process) {
  return ::WaitForSingleObject(process, 0) == WAIT_OBJECT_0;
}

bool lies_beyond_the_processors(JOBOBJECTINFOCLASS what, const void* limits) {
  DWORD_PTR own = 0, all = 0;
  ::GetProcessAffinityMask(::GetCurrentProcess(), &own, &all);
  const auto* const basic = static_cast<const JOBOBJECT_BASIC_LIMIT_INFORMATION*>(limits);  // The other begins with it.
  return (what == JobObjectExtendedLimitInformation || what == JobObjectBasicLimitInformation) &&
         (basic->LimitFlags & JOB_OBJECT_LIMIT_AFFINITY) != 0 && (basic->Affinity & ~all) != 0;
}

// ---- the calls ----

void watch_processes() {
  watch(&::CreateProcessW, "CreateProcessW", FALSE,
        [](auto, auto line, auto, auto, auto inherit, auto flags, auto environment, auto, auto startup, auto) {
          return of_creation(line, inherit, flags, environment, startup);
        });
  watch(&::CreateProcessAsUserW, "CreateProcessAsUserW", FALSE,
        [](auto token, auto, auto line, auto, auto, auto inherit, auto flags, auto environment, auto, auto startup,
           auto) {
          return first_of({breach_if(!is_primary(token), ERROR_BAD_TOKEN_TYPE, "no primary token"),
                           of_creation(line, inherit, flags, environment, startup)});
        });
  watch(&::InitializeProcThreadAttributeList, "InitializeProcThreadAttributeList", FALSE, [](auto...) {
    ::TlsSetValue(list_of_handles, nullptr);
    return objection{};
  });
  watch(&::UpdateProcThreadAttribute, "UpdateProcThreadAttribute", FALSE,
        [](auto list, auto, auto number, auto value, auto size, auto...) {
          return of_attribute(list, number, value, size);
        });
  watch(&::TerminateProcess, "TerminateProcess", FALSE,
        [](auto process, auto) { return refuse_if(has_ended(process), ERROR_ACCESS_DENIED); });
  watch(&::SetInformationJobObject, "SetInformationJobObject", FALSE, [](auto, auto what, auto limits, auto) {
    return refuse_if(lies_beyond_the_processors(what, limits), ERROR_INVALID_PARAMETER);
  });
  watch(&::Process32First, "Process32First", FALSE, [](auto, auto entry) {
    return breach_if(entry->dwSize != sizeof *entry, ERROR_BAD_LENGTH, "a wrong size of the entry");
  });
}

void watch_handles_and_waits() {
  watch(&::CloseHandle, "CloseHandle", FALSE, [](auto handle) {
    return breach_if(is_pseudo(handle) || !is_open(handle), ERROR_INVALID_HANDLE, "a handle that is not open");
  });
  watch(&::WaitForMultipleObjects, "WaitForMultipleObjects", WAIT_FAILED, [](auto count, auto handles, auto...) {
    const bool right = count != 0 && count <= MAXIMUM_WAIT_OBJECTS && are_different({handles, count});
    return breach_if(!right, ERROR_INVALID_PARAMETER, "no handle, too many, or one twice");
  });
  watch(&::RegisterWaitForSingleObject, "RegisterWaitForSingleObject", FALSE, [](auto, auto object, auto...) {
    return breach_if(is_pseudo(object) || !is_open(object), ERROR_INVALID_HANDLE, "a handle that is not open");
  });
}

void watch_files() {
  const auto file_name = [](auto name, auto...) { return refuse_if(is_beyond_the_limit(name), ERROR_PATH_NOT_FOUND); };
  watch(&::CreateFileA, "CreateFileA", INVALID_HANDLE_VALUE, file_name);
  watch(&::CreateFileW, "CreateFileW", INVALID_HANDLE_VALUE, file_name);
  watch(&::DeleteFileW, "DeleteFileW", FALSE, file_name);
  watch(&::MoveFileExW, "MoveFileExW", FALSE, [](auto from, auto to, auto) {
    return refuse_if(is_beyond_the_limit(from) || is_beyond_the_limit(to), ERROR_PATH_NOT_FOUND);
  });
  const auto transfer = [](auto, auto, auto, auto done, auto overlapped) {
    return breach_if(done == nullptr && overlapped == nullptr, ERROR_INVALID_PARAMETER, "nowhere to tell the count");
  };
  watch(&::ReadFile, "ReadFile", FALSE, transfer);
  watch(&::WriteFile, "WriteFile", FALSE, transfer);
  watch(&::SetFilePointer, "SetFilePointer", INVALID_SET_FILE_POINTER, [](auto, auto, auto upper, auto from) {
    return breach_if(upper == nullptr && from != FILE_BEGIN, ERROR_INVALID_PARAMETER, "no place for the upper half");
  });
  watch(&::LockFileEx, "LockFileEx", FALSE, [](auto, auto, auto reserved, auto, auto, auto place) {
    return breach_if(reserved != 0 || place == nullptr, ERROR_INVALID_PARAMETER, "no place, or more than that");
  });
  watch(&::CreateNamedPipeW, "CreateNamedPipeW", INVALID_HANDLE_VALUE,
        [](auto name, auto, auto, auto instances, auto...) {
          const std::wstring_view text(name);
          const bool right =
              text.starts_with(L"\\\\.\\pipe\\") && text.size() <= 256 && instances - 1 < PIPE_UNLIMITED_INSTANCES;
          return breach_if(!right, ERROR_INVALID_NAME, "a name that is none, or too many instances");
        });
  watch(&::WriteConsoleW, "WriteConsoleW", FALSE, [](auto, auto, auto units, auto, auto reserved) {
    return breach_if(units * sizeof(wchar_t) >= 65536 || reserved != nullptr, ERROR_NOT_ENOUGH_MEMORY,
                     "too long a text");
  });
}

void watch_text() {
  watch(&::MultiByteToWideChar, "MultiByteToWideChar", 0, [](auto page, auto flags, auto, auto size, auto...) {
    return first_of({breach_if(flags != 0 && takes_no_flags(page), ERROR_INVALID_FLAGS, "flags for a page without any"),
                     refuse_if(size == 0, ERROR_INVALID_PARAMETER)});
  });
  watch(&::WideCharToMultiByte, "WideCharToMultiByte", 0,
        [](auto page, auto flags, auto, auto size, auto, auto, auto fallback, auto used) {
          const bool utf8 = page == CP_UTF8 || page == 54936;
          const DWORD allowed = takes_no_flags(page) ? 0 : utf8 ? WC_ERR_INVALID_CHARS : ~DWORD{0};
          return first_of({breach_if((flags & ~allowed) != 0, ERROR_INVALID_FLAGS, "flags that the page does not take"),
                           breach_if((page == CP_UTF8 || page == CP_UTF7) && (fallback != nullptr || used != nullptr),
                                     ERROR_INVALID_PARAMETER, "a default character for UTF-8"),
                           refuse_if(size == 0, ERROR_INVALID_PARAMETER)});
        });
  watch(&::FormatMessageW, "FormatMessageW", 0u, [](auto flags, auto...) {
    const DWORD both = FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS;
    return breach_if((flags & both) == FORMAT_MESSAGE_FROM_SYSTEM, ERROR_INVALID_PARAMETER,
                     "inserts of a system's text");
  });
}

void watch_memory() {
  watch(&::VirtualFree, "VirtualFree", FALSE, [](auto start, auto size, auto kind) {
    MEMORY_BASIC_INFORMATION region = {};
    ::VirtualQuery(start, &region, sizeof region);
    return breach_if((kind == MEM_RELEASE) == (size != 0) || (kind == MEM_RELEASE && region.AllocationBase != start),
                     ERROR_INVALID_PARAMETER, "releases something else than a whole mapping");
  });
  watch(&::GlobalMemoryStatusEx, "GlobalMemoryStatusEx", FALSE, [](auto status) {
    return breach_if(status->dwLength != sizeof *status, ERROR_INVALID_PARAMETER, "a wrong size");
  });
  watch(&::K32GetProcessMemoryInfo, "K32GetProcessMemoryInfo", FALSE, [](auto, auto, auto size) {
    return breach_if(size < sizeof(PROCESS_MEMORY_COUNTERS), ERROR_INSUFFICIENT_BUFFER, "a wrong size");
  });
}

}  // namespace

void begin_strict_windows() {
  const char* const wanted = std::getenv("QXFL_STRICT_WINDOWS");
  if (wanted == nullptr || wanted != std::string_view("1")) {
    return;
  }
  watch_processes();
  watch_handles_and_waits();
  watch_files();
  watch_text();
  watch_memory();
}

}  // namespace test_support
