// child_pipe DESCRIPTOR
//
// Takes over the pipe ends that a descriptor names: six decimal fields with a blank between them, "read write text
// pending char overlapped" (two handle values, a flag, a flag, a signed character, a flag), as one argument.
//
//   write handle not 0: first copies standard input to it until that ends, and closes it.
//   pending not 0:      then writes the character to standard output.
//   read handle not 0:  then copies from it to standard output until it ends.
//
// Bytes go through as they are, in plain reads and writes, whatever the flags for text and overlapped say.
#include "child_io.hpp"

#include <cstdint>
#include <sstream>

int wmain(int count, wchar_t** arguments) {
  std::uintptr_t read = 0, write = 0;
  int text = 0, pending = 0, number = 0, overlapped = 0;
  std::wistringstream fields(count == 2 ? arguments[1] : L"");
  if (!(fields >> read >> write >> text >> pending >> number >> overlapped)) {
    return child::usage_error;
  }
  const auto from = reinterpret_cast<HANDLE>(read), to = reinterpret_cast<HANDLE>(write);
  const char character = static_cast<char>(number);
  bool done = write == 0 || (child::copy_all(child::in, to) && ::CloseHandle(to));
  done = done && (pending == 0 || child::write_all(child::out, {&character, 1}));
  done = done && (read == 0 || child::copy_all(from, child::out));
  return done ? 0 : child::io_error;
}
