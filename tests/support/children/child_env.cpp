// child_env
//
// Writes every entry of its environment block to standard output, in the block's order, as UTF-8, each with a line feed
// behind it.
#include "child_io.hpp"

#include <cwchar>
#include <string>

int wmain() {
  std::string lines;
  for (const wchar_t* entry = ::GetEnvironmentStringsW(); *entry; entry += std::wcslen(entry) + 1) {
    char text[1024];
    const int size = ::WideCharToMultiByte(CP_UTF8, 0, entry, -1, text, sizeof text, nullptr, nullptr);
    lines += (size > 0 ? std::string(text) : std::string("an entry that is too long")) + "\n";
  }
  return child::write_all(child::out, lines) ? 0 : child::io_error;
}
