// Asks the system what it does with calls that its documentation forbids, limits or promises something for, where the
// library depends on it or the documentation is all that is known. Prints one line for each question, its parts between
// tabs: the call, what is asked of it, what the documentation says, what was seen. `./dev probe` runs it under each
// Wine that there is and puts the answers into docs/win32.md.
//
// An answer is "done", a word about what came of it, or "refused: " and the last error. Where the documentation names
// no code, it says "refused" alone.
#include <windows.h>
#include <powrprof.h>
#include <psapi.h>

#include <cstdio>
#include <cwctype>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace {

using answer = std::string;

answer of(BOOL done) {
  return done ? "done" : "refused: " + std::to_string(GetLastError());
}

struct handle {
  HANDLE value = nullptr;

  handle() = default;
  explicit handle(HANDLE owned) : value(owned) {}
  handle(const handle&) = delete;
  handle& operator=(const handle&) = delete;
  ~handle() { CloseHandle(value); }
};

HANDLE event(BOOL inheritable) {
  SECURITY_ATTRIBUTES attributes = {sizeof attributes, nullptr, inheritable};
  return CreateEventW(&attributes, TRUE, FALSE, nullptr);
}

// ---- starting this program as a child ----

std::wstring own_name() {
  wchar_t name[MAX_PATH] = L"";
  GetModuleFileNameW(nullptr, name, MAX_PATH);
  return name;
}

struct launch {
  STARTUPINFOEXW startup = {};
  PROCESS_INFORMATION made = {};
  std::vector<std::byte> list;
  DWORD flags = 0;
  void* environment = nullptr;
  BOOL inherit = FALSE;

  launch() { startup.StartupInfo.cb = sizeof startup; }
  launch(const launch&) = delete;
  launch& operator=(const launch&) = delete;
  ~launch() {
    CloseHandle(made.hProcess);
    CloseHandle(made.hThread);
  }
  auto attributes(DWORD count) {
    SIZE_T size = 0;
    InitializeProcThreadAttributeList(nullptr, count, 0, &size);
    list.resize(size);
    startup.lpAttributeList = reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(list.data());
    InitializeProcThreadAttributeList(startup.lpAttributeList, count, 0, &size);
    flags |= EXTENDED_STARTUPINFO_PRESENT;
    return startup.lpAttributeList;
  }
  answer create(std::wstring line = L"probe child") {
    const std::wstring program = own_name();
    if (!CreateProcessW(program.c_str(), line.data(), nullptr, nullptr, inherit, flags, environment, nullptr,
                        &startup.StartupInfo, &made)) {
      return of(FALSE);
    }
    WaitForSingleObject(made.hProcess, INFINITE);
    return "done";
  }
};

answer with_handle_list(std::vector<HANDLE> handles, BOOL inherit) {
  launch child;
  child.inherit = inherit;
  if (!UpdateProcThreadAttribute(child.attributes(1), 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST, handles.data(),
                                 handles.size() * sizeof(HANDLE), nullptr, nullptr)) {
    return of(FALSE);
  }
  return child.create();
}

answer listed(BOOL inheritable, BOOL inherit, bool twice = false) {
  const handle one(event(inheritable));
  return with_handle_list(twice ? std::vector{one.value, one.value} : std::vector{one.value}, inherit);
}

answer standard_output(DWORD flags) {
  handle read, write;
  SECURITY_ATTRIBUTES inheritable = {sizeof inheritable, nullptr, TRUE};
  CreatePipe(&read.value, &write.value, &inheritable, 0);
  launch child;
  child.startup.StartupInfo.dwFlags = flags;
  child.startup.StartupInfo.hStdOutput = write.value;
  const HANDLE own = GetStdHandle(STD_OUTPUT_HANDLE);
  SetStdHandle(STD_OUTPUT_HANDLE, write.value);
  child.create(L"probe write");
  SetStdHandle(STD_OUTPUT_HANDLE, own);
  DWORD there = 0;
  PeekNamedPipe(read.value, nullptr, 0, nullptr, &there, nullptr);
  return there != 0 ? "the child's output arrives" : "the child's output is lost";
}

answer second_attribute() {
  launch child;
  HANDLE one = event(TRUE);
  const handle owner(one);
  const auto list = child.attributes(2);
  const auto add = [&] {
    return UpdateProcThreadAttribute(list, 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST, &one, sizeof one, nullptr, nullptr);
  };
  return add() ? of(add()) : of(FALSE);
}

answer in_job_by_attribute() {
  handle job(CreateJobObjectW(nullptr, nullptr));
  launch child;
  UpdateProcThreadAttribute(child.attributes(1), 0, PROC_THREAD_ATTRIBUTE_JOB_LIST, &job.value, sizeof job.value,
                            nullptr, nullptr);
  if (const answer made = child.create(); made != "done") {
    return made;
  }
  JOBOBJECT_BASIC_ACCOUNTING_INFORMATION count = {};
  QueryInformationJobObject(job.value, JobObjectBasicAccountingInformation, &count, sizeof count, nullptr);
  return count.TotalProcesses == 1 ? "the job has had the child" : "the job has had no process";
}

answer with_environment(std::size_t bytes) {
  std::string block = "A=" + std::string(bytes - 4, 'x');
  block += '\0';  // and the one behind the text
  launch child;
  child.environment = block.data();
  return child.create();
}

answer ended_child(answer (*ask)(HANDLE)) {
  launch child;
  child.create();
  return ask(child.made.hProcess);
}

// ---- files and pipes ----

struct file : handle {
  explicit file(DWORD access, DWORD flags = 0) {
    wchar_t folder[MAX_PATH] = L"";
    GetTempPathW(MAX_PATH, folder);
    const std::wstring name = std::wstring(folder) + L"qxfl-probe-" + std::to_wstring(GetCurrentProcessId());
    CloseHandle(CreateFileW(name.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr));
    value = CreateFileW(name.c_str(), access | DELETE, 0, nullptr, OPEN_EXISTING, flags | FILE_FLAG_DELETE_ON_CLOSE,
                        nullptr);
  }
};

answer long_name(const wchar_t* prefix) {
  wchar_t folder[MAX_PATH] = L"";
  GetTempPathW(MAX_PATH, folder);
  const std::wstring part(150, L'x'), outer = prefix + std::wstring(folder) + part, name = outer + L"\\" + part;
  CreateDirectoryW(outer.c_str(), nullptr);
  const answer told = of(CloseHandle(CreateFileW(name.c_str(), GENERIC_WRITE | DELETE, 0, nullptr, CREATE_ALWAYS,
                                                 FILE_FLAG_DELETE_ON_CLOSE, nullptr)));
  RemoveDirectoryW(outer.c_str());
  return told;
}

answer end_behind_four_gigabytes() {
  const file large(GENERIC_WRITE);
  LARGE_INTEGER end = {};
  end.QuadPart = 5LL << 30;
  if (!SetFilePointerEx(large.value, end, nullptr, FILE_BEGIN) || !SetEndOfFile(large.value)) {
    return "no such file can be made here";
  }
  SetLastError(NO_ERROR);
  return of(SetFilePointer(large.value, 0, nullptr, FILE_END) != INVALID_SET_FILE_POINTER);
}

std::wstring pipe_name() {
  return L"\\\\.\\pipe\\qxfl-probe-" + std::to_wstring(GetCurrentProcessId());
}

HANDLE named_pipe(const std::wstring& name, DWORD open, DWORD mode, DWORD instances = 1) {
  return CreateNamedPipeW(name.c_str(), open, mode, instances, 4096, 4096, 0, nullptr);
}

struct pipe_pair {
  handle server, client;

  explicit pipe_pair(DWORD open, DWORD mode)
      : server(named_pipe(pipe_name(), open, mode)),
        client(CreateFileW(pipe_name().c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr)) {}
};

answer made(HANDLE pipe) {
  const handle owner(pipe);
  return of(pipe != INVALID_HANDLE_VALUE);
}

answer second_instance() {
  const handle first(named_pipe(pipe_name(), PIPE_ACCESS_INBOUND | FILE_FLAG_FIRST_PIPE_INSTANCE, PIPE_TYPE_BYTE, 2));
  return made(named_pipe(pipe_name(), PIPE_ACCESS_INBOUND | FILE_FLAG_FIRST_PIPE_INSTANCE, PIPE_TYPE_BYTE, 2));
}

answer long_message() {
  const pipe_pair pipe(PIPE_ACCESS_DUPLEX, PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE);
  char bytes[8] = {};
  DWORD moved = 0;
  WriteFile(pipe.client.value, bytes, 8, &moved, nullptr);
  return of(ReadFile(pipe.server.value, bytes, 3, &moved, nullptr));
}

answer empty_write() {
  const pipe_pair pipe(PIPE_ACCESS_DUPLEX, PIPE_TYPE_BYTE);
  DWORD moved = 0, there = 0;
  WriteFile(pipe.client.value, "", 0, &moved, nullptr);
  WriteFile(pipe.client.value, "x", 1, &moved, nullptr);
  char bytes[8];
  PeekNamedPipe(pipe.server.value, nullptr, 0, nullptr, &there, nullptr);
  ReadFile(pipe.server.value, bytes, sizeof bytes, &moved, nullptr);
  return moved == 0 ? "a read of no bytes comes first" : "no reader sees it";
}

answer closed_pipe(bool writing) {
  handle read, write;
  CreatePipe(&read.value, &write.value, nullptr, 0);
  CloseHandle(std::exchange(writing ? read.value : write.value, nullptr));
  char byte = 0;
  DWORD moved = 0;
  return of(writing ? WriteFile(write.value, &byte, 1, &moved, nullptr)
                    : ReadFile(read.value, &byte, 1, &moved, nullptr));
}

answer pending_read(BOOL (*ask)(HANDLE, OVERLAPPED*)) {
  const pipe_pair pipe(PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED, PIPE_TYPE_BYTE);
  const handle done(event(FALSE));
  OVERLAPPED transfer = {};
  transfer.hEvent = done.value;
  char byte = 0;
  ReadFile(pipe.server.value, &byte, 1, nullptr, &transfer);
  const answer told = of(ask(pipe.server.value, &transfer));
  CancelIoEx(pipe.server.value, &transfer);
  WaitForSingleObject(done.value, INFINITE);
  return told;
}

answer locked_pipe() {
  handle read, write;
  CreatePipe(&read.value, &write.value, nullptr, 0);
  OVERLAPPED place = {};
  return of(LockFileEx(write.value, LOCKFILE_EXCLUSIVE_LOCK | LOCKFILE_FAIL_IMMEDIATELY, 0, 1, 0, &place));
}

// ---- the rest ----

answer unregistered_in_callback() {
  static HANDLE wait = nullptr;
  static answer told;
  const handle signal(event(FALSE)), done(event(FALSE)), registered(event(FALSE));
  static HANDLE both[2];
  both[0] = registered.value;
  both[1] = done.value;
  const auto callback = [](void*, BOOLEAN) {
    WaitForSingleObject(both[0], INFINITE);
    told = of(UnregisterWaitEx(wait, nullptr));
    SetEvent(both[1]);
  };
  RegisterWaitForSingleObject(&wait, signal.value, callback, nullptr, INFINITE, WT_EXECUTEONLYONCE);
  SetEvent(registered.value);
  SetEvent(signal.value);
  WaitForSingleObject(done.value, INFINITE);
  return told;
}

answer wait_for(std::size_t count) {
  std::vector<handle> events(count);
  std::vector<HANDLE> handles;
  for (handle& each : events) {
    handles.push_back(each.value = event(FALSE));
  }
  return of(WaitForMultipleObjects(static_cast<DWORD>(count), handles.data(), FALSE, 0) != WAIT_FAILED);
}

answer to_wide(UINT page, DWORD flags, int bytes) {
  wchar_t unit[4];
  return of(MultiByteToWideChar(page, flags, "A", bytes, unit, 4) != 0);
}

answer to_narrow(UINT page, DWORD flags, bool asks) {
  char bytes[8];
  BOOL used = FALSE;
  return of(WideCharToMultiByte(page, flags, L"A", 1, bytes, 8, nullptr, asks ? &used : nullptr) != 0);
}

answer cut_file_name() {
  wchar_t name[4];
  SetLastError(NO_ERROR);
  const DWORD length = GetModuleFileNameW(nullptr, name, 4);
  const answer error = std::to_string(GetLastError());
  return (length == 4 ? "cut, " : "not cut, ") + answer(name[3] == L'\0' ? "with a zero, " : "without a zero, ") +
         error;
}

answer privilege_not_held() {
  handle token;
  OpenProcessToken(GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY, &token.value);
  TOKEN_PRIVILEGES wanted = {1, {{{}, SE_PRIVILEGE_ENABLED}}};
  LookupPrivilegeValueW(nullptr, L"SeCreateTokenPrivilege", &wanted.Privileges[0].Luid);
  const BOOL done = AdjustTokenPrivileges(token.value, FALSE, &wanted, 0, nullptr, nullptr);
  return of(done) + (done ? ", last error " + std::to_string(GetLastError()) : "");
}

answer unknown_user() {
  handle token;
  return of(LogonUserW(L"nobody-of-this-name", L".", L"no", LOGON32_LOGON_INTERACTIVE, LOGON32_PROVIDER_DEFAULT,
                       &token.value));
}

answer impersonating_token() {
  handle own, other;
  OpenProcessToken(GetCurrentProcess(), TOKEN_ALL_ACCESS, &own.value);
  DuplicateTokenEx(own.value, TOKEN_ALL_ACCESS, nullptr, SecurityImpersonation, TokenImpersonation, &other.value);
  launch child;
  std::wstring line = L"probe child";
  return of(CreateProcessAsUserW(other.value, own_name().c_str(), line.data(), nullptr, nullptr, FALSE, 0, nullptr,
                                 nullptr, &child.startup.StartupInfo, &child.made));
}

answer small_power_buffer() {
  char small[1];
  SetLastError(12345);
  const auto status =
      static_cast<unsigned>(CallNtPowerInformation(ProcessorInformation, nullptr, 0, small, sizeof small));
  char text[64];
  std::snprintf(text, sizeof text, "status %#x, last error %s", status, GetLastError() == 12345 ? "as before" : "set");
  return text;
}

answer released_with_size() {
  void* const memory = VirtualAlloc(nullptr, 65536, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE);
  return of(VirtualFree(memory, 65536, MEM_RELEASE));
}

answer memory_of_self(DWORD rights) {
  const handle self(OpenProcess(rights, FALSE, GetCurrentProcessId()));
  PROCESS_MEMORY_COUNTERS counters = {};
  return of(GetProcessMemoryInfo(self.value, &counters, sizeof counters));
}

answer nested_jobs() {
  launch child;
  child.flags = CREATE_SUSPENDED;
  std::wstring line = L"probe child";
  CreateProcessW(own_name().c_str(), line.data(), nullptr, nullptr, FALSE, CREATE_SUSPENDED, nullptr, nullptr,
                 &child.startup.StartupInfo, &child.made);
  const handle outer(CreateJobObjectW(nullptr, nullptr)), inner(CreateJobObjectW(nullptr, nullptr));
  AssignProcessToJobObject(outer.value, child.made.hProcess);
  const answer told = of(AssignProcessToJobObject(inner.value, child.made.hProcess));
  TerminateProcess(child.made.hProcess, 0);
  return told;
}

answer foreign_processors() {
  const handle job(CreateJobObjectW(nullptr, nullptr));
  JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits = {};
  limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_AFFINITY;
  limits.BasicLimitInformation.Affinity = ULONG_PTR{1} << 63;
  return of(SetInformationJobObject(job.value, JobObjectExtendedLimitInformation, &limits, sizeof limits));
}

answer slot_value() {
  const DWORD slot = TlsAlloc();
  SetLastError(12345);
  TlsGetValue(slot);
  const bool set = GetLastError() == NO_ERROR;
  TlsFree(slot);
  return set ? "the last error is 0" : "the last error is as before";
}

const struct {
  const char* call;
  const char* asked;
  const char* documented;
  answer (*ask)();
} questions[] = {
    {"CreateProcessW", "a command line of 32,768 units with its zero", "forbidden",
     [] { return launch().create(L"probe " + std::wstring(32761, L'x')); }},
    {"CreateProcessW", "a narrow environment of 40,000 bytes", "refused", [] { return with_environment(40000); }},
    {"CreateProcessW", "a list of handles, and none inherited", "forbidden", [] { return listed(TRUE, FALSE); }},
    {"CreateProcessW", "a list that names a handle which is not inheritable", "forbidden",
     [] { return listed(FALSE, TRUE); }},
    {"CreateProcessW", "a list that names a handle twice", "", [] { return listed(TRUE, TRUE, true); }},
    {"CreateProcessW", "a list that names the pseudo handle of this process", "forbidden",
     [] { return with_handle_list({GetCurrentProcess()}, TRUE); }},
    {"CreateProcessW", "standard handles in the startup data, and none inherited", "forbidden",
     [] { return standard_output(STARTF_USESTDHANDLES); }},
    {"CreateProcessW", "none in the startup data, and none inherited: those of the parent", "",
     [] { return standard_output(0); }},
    {"UpdateProcThreadAttribute", "the same attribute twice", "refused", second_attribute},
    {"UpdateProcThreadAttribute", "a job for the child", "the job has had the child", in_job_by_attribute},
    {"CreateProcessAsUserW", "a token that is no primary one", "refused", impersonating_token},
    {"LogonUserW", "a user whom nobody knows", "refused: 1326", unknown_user},
    {"AdjustTokenPrivileges", "a privilege that the process does not hold", "done, last error 1300",
     privilege_not_held},
    {"TerminateProcess", "a process that has ended", "refused: 5",
     [] { return ended_child([](HANDLE process) { return of(TerminateProcess(process, 1)); }); }},
    {"K32GetProcessMemoryInfo", "PROCESS_QUERY_LIMITED_INFORMATION alone", "done",
     [] { return memory_of_self(PROCESS_QUERY_LIMITED_INFORMATION); }},
    {"AssignProcessToJobObject", "a process that is in a job", "done", nested_jobs},
    {"SetInformationJobObject", "a processor that the system has not", "refused: 87", foreign_processors},
    {"SetHandleInformation", "the pseudo handle of this process", "refused",
     [] { return of(SetHandleInformation(GetCurrentProcess(), HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT)); }},
    {"CloseHandle", "a handle that is not open", "refused: 6",
     [] { return of(CloseHandle(reinterpret_cast<HANDLE>(0x7ffc))); }},
    {"CreateFileW", "a name of more than 300 units without the prefix", "refused", [] { return long_name(L""); }},
    {"CreateFileW", "a name of more than 300 units with it", "done", [] { return long_name(L"\\\\?\\"); }},
    {"SetFilePointer", "the end of a file of 5 GB, without the upper half", "refused", end_behind_four_gigabytes},
    {"SetEndOfFile", "a file that is open for reading", "refused",
     [] { return of(SetEndOfFile(file(GENERIC_READ).value)); }},
    {"FlushFileBuffers", "a file that is open for reading", "refused",
     [] { return of(FlushFileBuffers(file(GENERIC_READ).value)); }},
    {"LockFileEx", "a pipe", "refused", locked_pipe},
    {"ReadFile", "an anonymous pipe whose writer has closed", "refused: 109", [] { return closed_pipe(false); }},
    {"WriteFile", "an anonymous pipe whose reader has closed", "refused", [] { return closed_pipe(true); }},
    {"ReadFile", "less than a message of a message pipe", "refused: 234", long_message},
    {"WriteFile", "no bytes to a pipe", "a read of no bytes comes first", empty_write},
    {"GetOverlappedResult", "a read under way, without waiting", "refused: 996",
     [] {
       return pending_read([](HANDLE pipe, OVERLAPPED* transfer) {
         DWORD moved = 0;
         return GetOverlappedResult(pipe, transfer, &moved, FALSE);
       });
     }},
    {"CancelIoEx", "a handle with nothing under way", "refused: 1168",
     [] { return of(CancelIoEx(file(GENERIC_READ, FILE_FLAG_OVERLAPPED).value, nullptr)); }},
    {"CreateNamedPipeW", "a name that is none of a pipe", "refused",
     [] { return made(named_pipe(L"x", PIPE_ACCESS_INBOUND, 0)); }},
    {"CreateNamedPipeW", "256 instances", "refused: 87",
     [] { return made(named_pipe(pipe_name(), PIPE_ACCESS_INBOUND, 0, 256)); }},
    {"CreateNamedPipeW", "the first instance once more", "refused: 5", second_instance},
    {"UnregisterWaitEx", "inside its callback, without an event", "refused: 997", unregistered_in_callback},
    {"WaitForMultipleObjects", "65 handles", "refused", [] { return wait_for(65); }},
    {"VirtualFree", "MEM_RELEASE with a size", "refused", released_with_size},
    {"TlsGetValue", "an empty slot", "the last error is 0", slot_value},
    {"GetModuleFileNameW", "a buffer of 4 units", "cut, with a zero, 122", cut_file_name},
    {"MultiByteToWideChar", "no bytes", "refused: 87", [] { return to_wide(CP_UTF8, 0, 0); }},
    {"MultiByteToWideChar", "MB_ERR_INVALID_CHARS for page 65000", "refused: 1004",
     [] { return to_wide(65000, MB_ERR_INVALID_CHARS, 1); }},
    {"MultiByteToWideChar", "MB_ERR_INVALID_CHARS for page 50220", "refused: 1004",
     [] { return to_wide(50220, MB_ERR_INVALID_CHARS, 1); }},
    {"MultiByteToWideChar", "MB_ERR_INVALID_CHARS for page 936", "done",
     [] { return to_wide(936, MB_ERR_INVALID_CHARS, 1); }},
    {"WideCharToMultiByte", "WC_NO_BEST_FIT_CHARS for page 65001", "refused: 1004",
     [] { return to_narrow(CP_UTF8, WC_NO_BEST_FIT_CHARS, false); }},
    {"WideCharToMultiByte", "WC_NO_BEST_FIT_CHARS for page 936", "done",
     [] { return to_narrow(936, WC_NO_BEST_FIT_CHARS, false); }},
    {"WideCharToMultiByte", "whether a default character was used, for page 65001", "refused: 87",
     [] { return to_narrow(CP_UTF8, 0, true); }},
    {"towupper", "a letter that is not ASCII, in the C locale", "stays",
     [] { return answer(std::towupper(L'\u00e4') == L'\u00e4' ? "stays" : "changes"); }},
    {"CallNtPowerInformation", "room for too little", "status 0xc0000023, last error as before", small_power_buffer},
};

}  // namespace

int main(int count, char** arguments) {
  if (count == 2) {
    if (arguments[1] == std::string("write")) {
      DWORD written = 0;
      WriteFile(GetStdHandle(STD_OUTPUT_HANDLE), "x", 1, &written, nullptr);
    }
    return 0;
  }
  const auto wine = reinterpret_cast<const char* (*)()>(
      reinterpret_cast<void (*)()>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version")));
  std::printf("%s\n", wine != nullptr ? ("Wine " + std::string(wine())).c_str() : "Windows");
  for (const auto& [call, asked, documented, ask] : questions) {
    std::printf("%s\t%s\t%s\t%s\n", call, asked, documented, ask().c_str());
    std::fflush(stdout);
  }
}
