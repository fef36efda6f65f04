// child_env [--narrow]
//
// Writes every entry of its environment block to standard output, in the block's order, as UTF-8, each with a line feed
// behind it; with --narrow, also the variable "name" as narrow programs see it, and the current directory.
#include "child_io.hpp"

#include <cwchar>
#include <string>

static std::string line(const wchar_t* wide) {
  char text[1024];
  const int size = ::WideCharToMultiByte(CP_UTF8, 0, wide, -1, text, sizeof text, nullptr, nullptr);
  return (size > 0 ? std::string(text) : std::string("an entry that is too long")) + "\n";
}

int wmain(int count, wchar_t**) {
  std::string lines;
  for (const wchar_t* entry = ::GetEnvironmentStringsW(); *entry; entry += std::wcslen(entry) + 1) {
    lines += line(entry);
  }
  if (count > 1) {
    char narrow[64] = "";
    wchar_t directory[1024] = L"";
    ::GetEnvironmentVariableA("name", narrow, sizeof narrow);
    ::GetCurrentDirectoryW(1024, directory);
    lines += narrow + ("\n" + line(directory));
  }
  return child::write_all(child::out, lines) ? 0 : child::io_error;
}
