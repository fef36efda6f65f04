// child_args [--system-parser] ARGUMENT...
//
// Writes every argument to standard output as a binary record: its length in bytes as a 32-bit little-endian number,
// then the bytes (UTF-8). The arguments are those of the C run-time, or with --system-parser as the first one those of
// CommandLineToArgvW; the option itself is not written.
#include "child_io.hpp"

#include <shellapi.h>

#include <cstdint>
#include <cwchar>
#include <string>

static std::string to_utf8(std::wstring_view wide) {
  std::string bytes(wide.size() * 3, '\0');
  bytes.resize(
      static_cast<std::size_t>(::WideCharToMultiByte(CP_UTF8, 0, wide.data(), static_cast<int>(wide.size()),
                                                     bytes.data(), static_cast<int>(bytes.size()), nullptr, nullptr)));
  return bytes;
}

int wmain(int count, wchar_t** arguments) {
  int first = 1;
  if (count > 1 && std::wcscmp(arguments[1], L"--system-parser") == 0) {
    arguments = ::CommandLineToArgvW(::GetCommandLineW(), &count);
    first = 2;
  }
  std::string records;
  for (int at = first; at < count; ++at) {
    const std::string text = to_utf8(arguments[at]);
    const auto length = static_cast<std::uint32_t>(text.size());
    records.append(reinterpret_cast<const char*>(&length), sizeof length) += text;
  }
  return child::write_all(child::out, records) ? 0 : child::io_error;
}
