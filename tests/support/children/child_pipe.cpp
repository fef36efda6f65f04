// child_pipe DESCRIPTOR
//
// Takes over the pipe ends that a descriptor names: six decimal fields with a blank between them, "read write text
// pending char overlapped" (two handle values, a flag, a flag, a signed character, a flag), as one argument or as six.
//
//   write handle not 0: first copies standard input to it until that ends, and closes it.
//   pending not 0:      then writes the character to standard output.
//   read handle not 0:  then copies from it to standard output until it ends, in overlapped reads if the flag is set.
//
// Bytes go through as they are: the text flag is read and makes no difference here.
#include "child_io.hpp"

#include <cstdint>
#include <sstream>

namespace {

struct descriptor {
  std::uint64_t read = 0;
  std::uint64_t write = 0;
  int text = 0;
  int pending = 0;
  int character = 0;
  int overlapped = 0;
};

HANDLE handle(std::uint64_t value) {
  return reinterpret_cast<HANDLE>(static_cast<std::uintptr_t>(value));
}

bool copy_overlapped(HANDLE from, HANDLE to) {
  char buffer[65536];
  for (;;) {
    OVERLAPPED overlapped{};
    overlapped.hEvent = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
    DWORD got = 0;
    const bool started =
        ::ReadFile(from, buffer, sizeof buffer, nullptr, &overlapped) || ::GetLastError() == ERROR_IO_PENDING;
    const bool read = started && ::GetOverlappedResult(from, &overlapped, &got, TRUE);
    ::CloseHandle(overlapped.hEvent);
    if (!read)
      return true;
    if (!child::write_all(to, {buffer, got}))
      return false;
  }
}

bool take_over(const descriptor& pipe) {
  if (pipe.write != 0) {
    if (!child::copy_all(child::in(), handle(pipe.write)))
      return false;
    ::CloseHandle(handle(pipe.write));
  }
  const char character = static_cast<char>(pipe.character);
  if (pipe.pending != 0 && !child::write_all(child::out(), {&character, 1}))
    return false;
  if (pipe.read == 0)
    return true;
  return (pipe.overlapped != 0 ? copy_overlapped : child::copy_all)(handle(pipe.read), child::out());
}

}  // namespace

int wmain(int count, wchar_t** arguments) {
  std::string text;
  for (int at = 1; at < count; ++at)
    text += child::to_utf8(arguments[at]) + ' ';
  std::istringstream fields(text);
  descriptor pipe;
  if (!(fields >> pipe.read >> pipe.write >> pipe.text >> pipe.pending >> pipe.character >> pipe.overlapped))
    return child::usage("usage: child_pipe \"READ WRITE TEXT PENDING CHAR OVERLAPPED\"\n");
  return take_over(pipe) ? 0 : child::io_error;
}
