// child_echo [--flood-stderr BYTES]
//
// Copies standard input to standard output, byte by byte the same, until it ends. With --flood-stderr another thread
// writes that many bytes "e" to standard error at the same time: a parent that reads one stream after the other hangs.
#include "child_io.hpp"

#include <cwchar>
#include <string>
#include <thread>

int wmain(int count, wchar_t** arguments) {
  std::thread flood([&] {
    if (count == 3) {
      child::write_all(child::err, std::string(std::wcstoul(arguments[2], nullptr, 10), 'e'));
    }
  });
  const bool copied = child::copy_all(child::in, child::out);
  flood.join();
  return copied ? 0 : child::io_error;
}
