// Writes the dump of the process that has started it, once that asks: a damaged process cannot do so itself. Waits
// until then, and ends with that process. crash/dump_request.hpp says how they talk. Not a program for people.
#include "crash/dump_request.hpp"

#include <windows.h>
#include <dbghelp.h>

#include <cstdlib>
#include <cwchar>

namespace {

using foundation::kit::dump_request;

HANDLE handle_of(std::uint64_t value) {
  return reinterpret_cast<HANDLE>(static_cast<std::uintptr_t>(value));
}

DWORD write_dump(const dump_request& wanted, HANDLE file) {
  MINIDUMP_EXCEPTION_INFORMATION exception{};
  exception.ThreadId = wanted.thread;
  exception.ExceptionPointers = reinterpret_cast<EXCEPTION_POINTERS*>(static_cast<std::uintptr_t>(wanted.pointers));
  exception.ClientPointers = TRUE;
  const auto content = static_cast<MINIDUMP_TYPE>(wanted.content);
  if (MiniDumpWriteDump(handle_of(wanted.process), wanted.process_id, file, content, &exception, nullptr, nullptr)) {
    return 0;
  }
  const DWORD error = GetLastError();
  return error != 0 ? error : ERROR_WRITE_FAULT;
}

/// What a damaged process leaves of the name must not lead into the current directory.
bool is_absolute(const wchar_t* name) {
  return (name[0] == L'\\' && name[1] == L'\\') || (name[0] != L'\0' && name[1] == L':' && name[2] == L'\\');
}

/// The file has its name only when it is complete. Returns 0, or what has failed.
DWORD make_file(const dump_request& wanted) {
  static wchar_t name[dump_request::longest_file + 1], part[dump_request::longest_file + 6];
  static_assert(sizeof name == sizeof wanted.file);
  memcpy(name, wanted.file, sizeof name);
  name[dump_request::longest_file] = L'\0';
  if (!is_absolute(name)) {
    return ERROR_INVALID_NAME;
  }
  wcscpy(part, name);
  wcscat(part, L".part");
  const HANDLE file = CreateFileW(part, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_ALWAYS,
                                  FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) {
    return GetLastError();
  }
  const DWORD failure = write_dump(wanted, file);
  CloseHandle(file);
  if (failure != 0) {
    DeleteFileW(part);
    return failure;
  }
  return MoveFileExW(part, name, MOVEFILE_REPLACE_EXISTING) ? 0 : GetLastError();
}

}  // namespace

int main(int argc, char** argv) {
  const HANDLE section = handle_of(argc == 2 ? std::strtoull(argv[1], nullptr, 10) : 0);
  auto* const wanted =
      static_cast<dump_request*>(MapViewOfFile(section, FILE_MAP_ALL_ACCESS, 0, 0, sizeof(dump_request)));
  if (wanted == nullptr || wanted->version != dump_request::present_version) {
    return EXIT_FAILURE;
  }
  // Emulated systems read the debug information of all modules for a dump, without need, and may fail over it.
  SymSetOptions(SymGetOptions() | SYMOPT_DEFERRED_LOADS);
  const HANDLE waited_for[] = {handle_of(wanted->request), handle_of(wanted->process)};
  do {
    SetEvent(handle_of(wanted->done));
    if (WaitForMultipleObjects(2, waited_for, FALSE, INFINITE) != WAIT_OBJECT_0) {
      return EXIT_SUCCESS;  // It has gone.
    }
    wanted->error = make_file(*wanted);
  } while (true);
}
