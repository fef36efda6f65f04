// The pipe's system calls on Windows. Stateless; no retries and no interpretation of errors, both belong to the
// transport.
#include "process/pipe/pipe_calls.hpp"

#include "common/windows/handle_closer.hpp"

#include <windows.h>

namespace foundation::core::sysdep::windows {
namespace {

static_assert(error_handle_eof == ERROR_HANDLE_EOF && error_broken_pipe == ERROR_BROKEN_PIPE);

// To be called first thing behind the failed call.
pipe_failure last_failure(const char* call) noexcept {
  return {call, ::GetLastError()};
}

}  // namespace

pipe_creation create_pipe() noexcept {
  SECURITY_ATTRIBUTES not_inheritable{};
  not_inheritable.nLength = sizeof not_inheritable;
  HANDLE read = nullptr;
  HANDLE write = nullptr;
  constexpr DWORD default_buffer = 0;
  if (::CreatePipe(&read, &write, &not_inheritable, default_buffer) == 0) {
    return {{}, last_failure("CreatePipe")};
  }
  return {{read, write}, {}};
}

pipe_transfer read_pipe(void* handle, char* buffer, std::uint32_t bytes) noexcept {
  DWORD done = 0;
  if (::ReadFile(handle, buffer, bytes, &done, nullptr) == 0) {
    return {0, last_failure("ReadFile")};
  }
  return {done, {}};
}

pipe_transfer read_pipe_overlapped(void* handle, char* buffer, std::uint32_t bytes) noexcept {
  // Without an event (the system is out of handles) the wait falls back on the file handle itself, which is signalled
  // too.
  OVERLAPPED overlapped{};
  overlapped.hEvent = ::CreateEventA(nullptr, TRUE, FALSE, nullptr);
  const HandleCloser<HANDLE> event_closer(overlapped.hEvent);
  DWORD done = 0;
  if (::ReadFile(handle, buffer, bytes, &done, &overlapped) == 0) {
    const pipe_failure failure = last_failure("AsyncReadFile");
    if (failure.error != ERROR_IO_PENDING) {
      return {0, failure};
    }
  }
  // Also when the read succeeded at once: only here is the count sure.
  if (::GetOverlappedResult(handle, &overlapped, &done, TRUE) == 0) {
    return {0, last_failure("GetOverlappedResult")};
  }
  return {done, {}};
}

pipe_transfer write_pipe(void* handle, const char* buffer, std::uint32_t bytes) noexcept {
  DWORD done = 0;
  if (::WriteFile(handle, buffer, bytes, &done, nullptr) == 0) {
    return {0, last_failure("WriteFile")};
  }
  return {done, {}};
}

void close_pipe_handle(void* handle) noexcept {
  const HandleCloser<void*> closer(handle);
}

}  // namespace foundation::core::sysdep::windows
