// child_handles HANDLE...
//
// Takes each handle value (decimal) for that of an event and sets it, and says in a line of its own whether that could
// be done: "1234 1\n", or "1234 0\n". A value can by chance be the value of a handle that this process has opened for
// itself: what counts is whether the parent sees the event set.
#include "child_io.hpp"

#include <cstdint>
#include <cwchar>
#include <string>

int wmain(int count, wchar_t** arguments) {
  std::string lines;
  for (int at = 1; at < count; ++at) {
    const auto value = static_cast<std::uintptr_t>(std::wcstoull(arguments[at], nullptr, 10));
    lines += std::to_string(value) + (::SetEvent(reinterpret_cast<HANDLE>(value)) ? " 1\n" : " 0\n");
  }
  return child::write_all(child::out, lines) ? 0 : child::io_error;
}
