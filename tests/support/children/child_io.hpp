// What the child programs share: exact arguments and byte-exact standard streams, without the C run-time's translation.
#pragma once

#include <windows.h>

#include <string_view>

// Keeps the C run-time's start-up from expanding * and ? in arguments: a child sees them as they were given.
// Not inline, or it would not be emitted: a child includes this in its only source.
extern "C" {
int _dowildcard = 0;
}

namespace child {

inline constexpr int io_error = 1;
inline constexpr int usage_error = 2;

inline const HANDLE in = ::GetStdHandle(STD_INPUT_HANDLE);
inline const HANDLE out = ::GetStdHandle(STD_OUTPUT_HANDLE);
inline const HANDLE err = ::GetStdHandle(STD_ERROR_HANDLE);

/// False when the reader has gone or the handle is bad. No bytes are no write: the reader of a pipe would see an end.
inline bool write_all(HANDLE to, std::string_view bytes) {
  DWORD put = 0;
  return bytes.empty() || ::WriteFile(to, bytes.data(), static_cast<DWORD>(bytes.size()), &put, nullptr);
}

/// Copies until the end of `from`. False if `to` cannot be written.
inline bool copy_all(HANDLE from, HANDLE to) {
  static char buffer[65536];
  DWORD got = 0;
  // A file ends with 0 bytes, a pipe with ERROR_BROKEN_PIPE: there 0 bytes are an empty write of the other side.
  while (::ReadFile(from, buffer, sizeof buffer, &got, nullptr) &&
         (got != 0 || ::GetFileType(from) == FILE_TYPE_PIPE)) {
    if (!write_all(to, {buffer, got})) {
      return false;
    }
  }
  return true;
}

}  // namespace child
