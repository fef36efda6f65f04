// child_args [--system-parser] ARGUMENT...
//
// Writes every argument to standard output as a binary record: its length in bytes as a 32-bit little-endian number,
// then the bytes (UTF-8). The arguments are those of the C run-time, or with --system-parser as the first one those of
// CommandLineToArgvW; the option itself is not written.
#include "child_io.hpp"
// Behind windows.h, whose types it uses.
#include <shellapi.h>

#include <cstdint>
#include <cwchar>

namespace {

std::string record(std::wstring_view argument) {
  const std::string text = child::to_utf8(argument);
  const auto length = static_cast<std::uint32_t>(text.size());
  return std::string(reinterpret_cast<const char*>(&length), sizeof length) + text;
}

}  // namespace

int wmain(int count, wchar_t** arguments) {
  int first = 1;
  if (count > 1 && std::wcscmp(arguments[1], L"--system-parser") == 0) {
    arguments = ::CommandLineToArgvW(::GetCommandLineW(), &count);
    first = 2;
  }
  std::string records;
  for (int at = first; at < count; ++at)
    records += record(arguments[at]);
  return child::write_all(child::out(), records) ? 0 : child::io_error;
}
