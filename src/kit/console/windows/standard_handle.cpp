#include "console/windows/standard_handle.hpp"

#include <common/windows/system_error.hpp>

#include <windows.h>

#include <algorithm>

namespace foundation::kit {

namespace {

using core::sysdep::windows::throw_system_error;

constexpr std::size_t most_bytes = 1 << 20;  // that are written at a time

HANDLE handle_of(DWORD which) {
  const HANDLE handle = ::GetStdHandle(which);
  return handle != INVALID_HANDLE_VALUE ? handle : nullptr;
}

/// A write that has written nothing would be repeated for ever: a pipe that does not wait for its reader is full.
std::size_t written(BOOL done, DWORD count, const char* call) {
  if (!done) {
    throw_system_error(::GetLastError(), call);
  }
  if (count == 0) {
    throw_system_error(ERROR_WRITE_FAULT, call);
  }
  return count;
}

}  // namespace

device_kind standard_handle::kind() {
  const HANDLE handle = handle_of(which_);
  DWORD mode = 0;
  if (handle == nullptr || ::GetConsoleMode(handle, &mode)) {
    no_console_ = nullptr;
    return handle == nullptr ? device_kind::none : device_kind::console;
  }
  no_console_ = handle;
  return device_kind::bytes;
}

bool standard_handle::wants_lines() {
  const HANDLE handle = handle_of(which_);
  return handle != nullptr && handle != no_console_ && kind() == device_kind::console;
}

std::size_t standard_handle::write_bytes(const char* bytes, std::size_t count) {
  DWORD put = 0;
  const auto most = static_cast<DWORD>(std::min(count, most_bytes));
  const BOOL done = ::WriteFile(handle_of(which_), bytes, most, &put, nullptr);
  return written(done, put, "WriteFile");
}

std::size_t standard_handle::write_units(const char16_t* units, std::size_t count) {
  DWORD put = 0;
  const BOOL done = ::WriteConsoleW(handle_of(which_), units, static_cast<DWORD>(count), &put, nullptr);
  return written(done, put, "WriteConsoleW");
}

std::size_t standard_handle::read_bytes(char* bytes, std::size_t count) {
  const HANDLE handle = handle_of(which_);
  DWORD got = 0;
  while (::ReadFile(handle, bytes, static_cast<DWORD>(count), &got, nullptr)) {
    // No bytes are the end of a file or a socket, and an empty write to a pipe. GetFileType takes a socket for a pipe.
    if (got != 0 || !::GetNamedPipeInfo(handle, nullptr, nullptr, nullptr, nullptr)) {
      return got;
    }
  }
  const DWORD error = ::GetLastError();
  if (error == ERROR_MORE_DATA) {
    return got;  // the beginning of a message that is longer, in a pipe that is read by messages
  }
  if (error != ERROR_BROKEN_PIPE && error != ERROR_HANDLE_EOF) {
    throw_system_error(error, "ReadFile");
  }
  return 0;
}

std::size_t standard_handle::read_units(char16_t* units, std::size_t count) {
  for (;;) {
    DWORD got = 0;
    ::SetLastError(ERROR_SUCCESS);
    const BOOL done = ::ReadConsoleW(handle_of(which_), units, static_cast<DWORD>(count), &got, nullptr);
    const DWORD error = ::GetLastError();
    if (!done) {
      throw_system_error(error, "ReadConsoleW");
    }
    // Ctrl-C and Ctrl-Break end a read with nothing; the program that is still there then has another use for them.
    if (got != 0 || error != ERROR_OPERATION_ABORTED) {
      return got;
    }
  }
}

}  // namespace foundation::kit
