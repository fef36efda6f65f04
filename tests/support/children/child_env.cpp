// child_env [--directory]
//
// Writes the entries of its environment block to standard output in the block's order, as UTF-8, each followed by a NUL
// byte. With --directory the current directory follows as one more such record, the last.
#include "child_io.hpp"

#include <cwchar>

int wmain(int count, wchar_t** arguments) {
  std::string records;
  for (const wchar_t* entry = ::GetEnvironmentStringsW(); *entry != L'\0'; entry += std::wcslen(entry) + 1)
    records += child::to_utf8(entry) + '\0';
  if (count > 1 && std::wcscmp(arguments[1], L"--directory") == 0) {
    std::wstring directory(32768, L'\0');
    directory.resize(::GetCurrentDirectoryW(static_cast<DWORD>(directory.size()), directory.data()));
    records += child::to_utf8(directory) + '\0';
  }
  return child::write_all(child::out(), records) ? 0 : child::io_error;
}
