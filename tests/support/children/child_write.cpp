// child_write [--lines N | --bytes N] [--stderr] [--crlf | --lf]
//
// Writes N numbered lines (ending in LF, or with --crlf in CR LF) or N pseudo-random bytes to standard output, or with
// --stderr to standard error. pattern.hpp says which and makes the same for the reader.
#include "child_io.hpp"
#include "pattern.hpp"

#include <cwchar>

int wmain(int count, wchar_t** arguments) {
  HANDLE to = child::out;
  std::string_view line_end = "\n";
  std::size_t lines = 0, bytes = 0;
  for (int at = 1; at < count; ++at) {
    const std::wstring_view option = arguments[at];
    if (option == L"--stderr") {
      to = child::err;
    } else if (option == L"--crlf") {
      line_end = "\r\n";
    } else if ((option == L"--lines" || option == L"--bytes") && at + 1 < count) {
      (option == L"--lines" ? lines : bytes) = std::wcstoul(arguments[++at], nullptr, 10);
    } else if (option != L"--lf") {
      return child::usage_error;
    }
  }
  const std::string text = bytes != 0 ? child_pattern::bytes(bytes) : child_pattern::lines(lines, line_end);
  return child::write_all(to, text) ? 0 : child::io_error;
}
