// child_echo [--flood-stderr BYTES]
//
// Copies standard input to standard output, byte by byte the same, until it ends. With --flood-stderr another thread
// writes that many bytes "e" to standard error at the same time: a parent that reads one stream after the other hangs.
#include "child_io.hpp"

#include <cwchar>
#include <thread>

int wmain(int count, wchar_t** arguments) {
  std::thread flood;
  if (count == 3 && std::wcscmp(arguments[1], L"--flood-stderr") == 0)
    flood = std::thread(
        [size = std::wcstoull(arguments[2], nullptr, 0)] { child::write_all(child::err(), std::string(size, 'e')); });
  else if (count != 1)
    return child::usage("usage: child_echo [--flood-stderr BYTES]\n");
  const bool copied = child::copy_all(child::in(), child::out());
  if (flood.joinable())
    flood.join();
  return copied ? 0 : child::io_error;
}
