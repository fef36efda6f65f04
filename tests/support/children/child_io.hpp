// What the child programs share: exact arguments and byte-exact standard streams, without the C run-time's translation.
#pragma once

#include <windows.h>

#include <cstddef>
#include <string>
#include <string_view>

// Keeps the C run-time's start-up from expanding * and ? in arguments: a child sees them as they were given.
// Not inline, or it would not be emitted: a child includes this in its only source.
extern "C" {
int _dowildcard = 0;
}

namespace child {

inline constexpr int usage_error = 2;
inline constexpr int io_error = 1;

inline HANDLE in() {
  return ::GetStdHandle(STD_INPUT_HANDLE);
}
inline HANDLE out() {
  return ::GetStdHandle(STD_OUTPUT_HANDLE);
}
inline HANDLE err() {
  return ::GetStdHandle(STD_ERROR_HANDLE);
}

/// False when the reader has gone or the handle is bad; GetLastError tells.
inline bool write_all(HANDLE to, std::string_view bytes) {
  while (!bytes.empty()) {
    DWORD put = 0;
    const auto most = static_cast<DWORD>(bytes.size() < 1u << 30 ? bytes.size() : 1u << 30);
    if (!::WriteFile(to, bytes.data(), most, &put, nullptr))
      return false;
    bytes.remove_prefix(put);
  }
  return true;
}

/// Copies until the end of `from`. False if `to` cannot be written.
inline bool copy_all(HANDLE from, HANDLE to) {
  static char buffer[65536];
  DWORD got = 0;
  // A pipe ends with ERROR_BROKEN_PIPE, a file with 0 bytes; an empty write to a pipe gives 0 bytes as well and is no
  // end.
  while (::ReadFile(from, buffer, sizeof buffer, &got, nullptr) && (got != 0 || ::GetFileType(from) == FILE_TYPE_PIPE))
    if (!write_all(to, {buffer, got}))
      return false;
  return true;
}

inline std::string to_utf8(std::wstring_view wide) {
  std::string bytes(wide.size() * 3, '\0');
  bytes.resize(
      static_cast<std::size_t>(::WideCharToMultiByte(CP_UTF8, 0, wide.data(), static_cast<int>(wide.size()),
                                                     bytes.data(), static_cast<int>(bytes.size()), nullptr, nullptr)));
  return bytes;
}

/// Says on standard error how the program is called.
inline int usage(std::string_view text) {
  write_all(err(), text);
  return usage_error;
}

}  // namespace child
