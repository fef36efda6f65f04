// child_handles [--set] [--kind] HANDLE...
//
// Says for each handle value (decimal) in a line of its own whether it is open in this process: "1234 1\n", or "1234
// 0\n". With --kind the line of an open handle goes on with the object's type and, of files, what kind: "1234 1 File
// pipe\n", "1234 1 Event\n". With --set each open handle that is an event is set.
//
// A value can by chance be the value of a handle that this process has opened for itself. --set, seen from the parent's
// side, or --kind tells the two apart.
#include "child_io.hpp"
// Behind windows.h, whose types it uses.
#include <winternl.h>

#include <cstdint>
#include <cwchar>

namespace {

std::string type_of(HANDLE handle) {
  alignas(PUBLIC_OBJECT_TYPE_INFORMATION) char memory[1024];
  if (::NtQueryObject(handle, ObjectTypeInformation, memory, sizeof memory, nullptr) < 0)
    return "unknown";
  const UNICODE_STRING& name = reinterpret_cast<const PUBLIC_OBJECT_TYPE_INFORMATION*>(memory)->TypeName;
  return child::to_utf8({name.Buffer, name.Length / sizeof(wchar_t)});
}

std::string kind_of(HANDLE handle) {
  const std::string type = type_of(handle);
  if (type != "File")
    return type;
  switch (::GetFileType(handle)) {
    case FILE_TYPE_PIPE:
      return "File pipe";
    case FILE_TYPE_DISK:
      return "File disk";
    case FILE_TYPE_CHAR:
      return "File char";
    default:
      return "File unknown";
  }
}

}  // namespace

int wmain(int count, wchar_t** arguments) {
  bool set = false;
  bool kind = false;
  std::string lines;
  for (int at = 1; at < count; ++at) {
    const std::wstring_view argument = arguments[at];
    if (argument == L"--set" || argument == L"--kind") {
      (argument == L"--set" ? set : kind) = true;
      continue;
    }
    const auto handle =
        reinterpret_cast<HANDLE>(static_cast<std::uintptr_t>(std::wcstoull(arguments[at], nullptr, 10)));
    DWORD flags = 0;
    const bool open = ::GetHandleInformation(handle, &flags);
    if (open && set && type_of(handle) == "Event")
      ::SetEvent(handle);
    lines += child::to_utf8(argument) + (open ? " 1" : " 0") + (open && kind ? " " + kind_of(handle) : "") + "\n";
  }
  return child::write_all(child::out(), lines) ? 0 : child::io_error;
}
