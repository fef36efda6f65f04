// The operating system's side of the log.

#include "platform.hpp"

#include "common/windows/full_path.hpp"
#include "common/windows/keep_loaded.hpp"
#include "common/windows/procedure.hpp"

#include <windows.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdint>

namespace foundation::log::platform {

namespace {

std::wstring widened(std::string_view text) {
  const int size = static_cast<int>(text.size());
  const int needed = MultiByteToWideChar(CP_UTF8, 0, text.data(), size, nullptr, 0);
  std::wstring wide(static_cast<std::size_t>(needed), L'\0');
  MultiByteToWideChar(CP_UTF8, 0, text.data(), size, wide.data(), needed);
  return wide;
}

std::string narrowed(std::wstring_view text) {
  const int size = static_cast<int>(text.size());
  const int needed = WideCharToMultiByte(CP_UTF8, 0, text.data(), size, nullptr, 0, nullptr, nullptr);
  std::string narrow(static_cast<std::size_t>(needed), '\0');
  WideCharToMultiByte(CP_UTF8, 0, text.data(), size, narrow.data(), needed, nullptr, nullptr);
  return narrow;
}

/// A path that is too long for the system, absolute and with the prefix that lifts the limit; any other as it is.
std::wstring openable(const std::wstring& path) {
  const std::wstring absolute = core::sysdep::windows::full_path(path);
  if (absolute.size() < MAX_PATH || absolute.starts_with(L"\\\\?\\") || absolute.starts_with(L"\\\\.\\")) {
    return path;
  }
  return absolute.starts_with(L"\\\\") ? L"\\\\?\\UNC\\" + absolute.substr(2) : L"\\\\?\\" + absolute;
}

std::string system_text(DWORD error) {
  wchar_t text[512];
  const DWORD length = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, error, 0,
                                      text, static_cast<DWORD>(std::size(text)), nullptr);
  std::wstring_view message(text, length);
  while (!message.empty() && message.back() <= L' ') {
    message.remove_suffix(1);
  }
  return narrowed(message) + " (error " + std::to_string(error) + ")";
}

/// Keeps the other processes that append to the file out over a scope. Range locks beyond the end of the file do that
/// between processes only, and go with the process that holds them; nothing is locked for readers.
class append_lock {
 public:
  explicit append_lock(HANDLE file) noexcept : file_(file), locked_(lock()) {}
  ~append_lock() {
    if (locked_) {
      UnlockFileEx(file_, 0, 1, 0, &place_);
    }
  }
  append_lock(const append_lock&) = delete;
  append_lock& operator=(const append_lock&) = delete;

 private:
  /// A process that was stopped in its write must not stop all others for good: after a second they go on without the
  /// lock, and from then on do not wait until they have seen it free again.
  bool lock() noexcept {
    static std::atomic<bool> holder_is_stuck{false};
    const auto start = GetTickCount64();
    while (LockFileEx(file_, LOCKFILE_EXCLUSIVE_LOCK | LOCKFILE_FAIL_IMMEDIATELY, 0, 1, 0, &place_) == 0) {
      if (GetLastError() != ERROR_LOCK_VIOLATION) {
        return false;  // Not a disk file.
      }
      if (holder_is_stuck || process_is_ending()) {
        return false;
      }
      if (GetTickCount64() - start > 1000) {
        holder_is_stuck = true;
      }
      SwitchToThread();
    }
    holder_is_stuck = false;
    return true;
  }

  static OVERLAPPED far_away() noexcept {
    OVERLAPPED place{};
    place.OffsetHigh = 0x40000000;
    return place;
  }

  HANDLE file_;
  OVERLAPPED place_ = far_away();  ///< The locked byte.
  bool locked_;
};

void write_at_once(HANDLE stream, std::string_view text) noexcept {
  DWORD written = 0;
  WriteFile(stream, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
}

/// In pieces: the text on its way lies in a heap of the console's, of 64 KB on some systems, which refuse what is
/// longer.
void write_units(HANDLE console, std::wstring_view units) noexcept {
  constexpr std::size_t most = 8192;
  while (!units.empty()) {
    std::size_t count = std::min(units.size(), most);
    count -= count != units.size() && IS_HIGH_SURROGATE(units[count - 1]) ? 1 : 0;
    DWORD written = 0;
    if (WriteConsoleW(console, units.data(), static_cast<DWORD>(count), &written, nullptr) == 0 || written == 0) {
      return;
    }
    units.remove_prefix(std::min<std::size_t>(written, count));
  }
}

bool write_to_console(HANDLE console, std::string_view text) noexcept {
  DWORD mode = 0;
  if (GetConsoleMode(console, &mode) == 0) {
    return false;
  }
  try {
    write_units(console, widened(text));
  } catch (...) {
    return false;  // Without memory the bytes go out as they are.
  }
  return true;
}

/// Without a free slot every thread stands at 0: the system refuses the number that says so.
DWORD depth_slot() noexcept {
  static const DWORD slot = TlsAlloc();
  return slot;
}

}  // namespace

std::optional<std::string> environment_variable(const char* name) {
  const std::wstring wide_name = widened(name);
  std::wstring value(128, L'\0');
  for (;;) {
    // An empty value and a missing variable both give 0; the last error is what differs.
    SetLastError(ERROR_SUCCESS);
    const DWORD length = GetEnvironmentVariableW(wide_name.c_str(), value.data(), static_cast<DWORD>(value.size()));
    if (length == 0 && GetLastError() == ERROR_ENVVAR_NOT_FOUND) {
      return std::nullopt;
    }
    if (length < value.size()) {
      return narrowed({value.data(), length});
    }
    value.resize(length);  // The needed size; another thread may make the value longer meanwhile.
  }
}

calendar_time local_time() noexcept {
  FILETIME universal, local;
  SYSTEMTIME fields;
  GetSystemTimePreciseAsFileTime(&universal);
  FileTimeToLocalFileTime(&universal, &local);
  FileTimeToSystemTime(&local, &fields);
  constexpr unsigned long long ticks_per_second = 10'000'000, ticks_per_microsecond = 10;
  const auto ticks = static_cast<unsigned long long>(local.dwHighDateTime) << 32 | local.dwLowDateTime;
  return {fields.wYear,
          fields.wMonth,
          fields.wDay,
          fields.wHour,
          fields.wMinute,
          fields.wSecond,
          static_cast<unsigned>(ticks % ticks_per_second / ticks_per_microsecond)};
}

unsigned long process_id() noexcept {
  return GetCurrentProcessId();
}

unsigned long thread_id() noexcept {
  return GetCurrentThreadId();
}

unsigned thread_depth() noexcept {
  const error_keeper keep;  // Success too is a last error of this call.
  return static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(TlsGetValue(depth_slot())));
}

void set_thread_depth(unsigned depth) noexcept {
  const error_keeper keep;
  TlsSetValue(depth_slot(), reinterpret_cast<void*>(std::uintptr_t{depth}));
}

bool process_is_ending() noexcept {
  // Exported by the system, but declared in no header.
  using function_type = BOOLEAN(NTAPI*)();
  static const auto function =
      core::sysdep::windows::find_procedure<function_type>(GetModuleHandleW(L"ntdll.dll"), "RtlDllShutdownInProgress");
  return function != nullptr && function() != FALSE;
}

void stay_loaded() noexcept {
  core::sysdep::windows::keep_module_loaded();
}

void* open_for_append(const std::string& path, std::string& reason) {
  // With the right to append and without the right to write, the system puts every write at the end of the file as one
  // step. Locks ask for the right to read.
  const HANDLE file = CreateFileW(openable(widened(path)).c_str(), FILE_APPEND_DATA | FILE_READ_DATA | SYNCHRONIZE,
                                  FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_ALWAYS,
                                  FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file != INVALID_HANDLE_VALUE) {
    return file;
  }
  reason = system_text(GetLastError());
  return nullptr;
}

void close_file(void* file) noexcept {
  CloseHandle(file);
}

void append(void* file, std::string_view text) noexcept {
  // The one step holds for local disks. On a network drive, and under Wine, the end of the file is looked up first, and
  // of two processes that do so at the same time one overwrites the other's record (seen in one run of two).
  const append_lock hold(file);
  write_at_once(file, text);
}

void write_standard_error(std::string_view text) noexcept {
  // Asked each time, since a program may redirect the stream.
  const HANDLE stream = GetStdHandle(STD_ERROR_HANDLE);
  if (stream == nullptr || stream == INVALID_HANDLE_VALUE) {
    return;
  }
  if (!write_to_console(stream, text)) {
    append(stream, text);
  }
}

error_keeper::error_keeper() noexcept : last_error_(GetLastError()), errno_(errno) {}

error_keeper::~error_keeper() {
  errno = errno_;
  SetLastError(last_error_);
}

}  // namespace foundation::log::platform
