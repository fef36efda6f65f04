#include "run/windows/overlapped_end.hpp"

#include <fl/process/iopipe_handles.hpp>
#include <fl/process/open_mode.hpp>

#include "common/windows/system_error.hpp"

#include <atomic>
#include <cstdint>
#include <string>
#include <utility>

namespace foundation::kit::detail {

namespace process = core::process;

namespace {

using core::sysdep::windows::throw_system_error;

// Unlike that of any other pipe: a process has one number, and a number is given out again with another time.
std::wstring next_name() {
  static constinit std::atomic<std::uint32_t> made{0};
  LARGE_INTEGER now = {};
  ::QueryPerformanceCounter(&now);
  // Mixed, so that a name does not tell the next one.
  const std::uint64_t mixed =
      (static_cast<std::uint64_t>(now.QuadPart) ^ reinterpret_cast<std::uintptr_t>(&made)) * 0x9E3779B97F4A7C15u;
  return L"\\\\.\\pipe\\qxfl-run-" + std::to_wstring(::GetCurrentProcessId()) + L'-' + std::to_wstring(++made) + L'-' +
         std::to_wstring(mixed);
}

bool is_taken(DWORD error) {
  return error == ERROR_ACCESS_DENIED || error == ERROR_PIPE_BUSY;
}

HANDLE create_our_end(const std::wstring& name, pipe_direction direction) {
  const DWORD access = direction == pipe_direction::from_child ? PIPE_ACCESS_INBOUND : PIPE_ACCESS_OUTBOUND;
  constexpr DWORD instances = 1, default_time_out = 0;
  return ::CreateNamedPipeW(name.c_str(), access | FILE_FLAG_OVERLAPPED | FILE_FLAG_FIRST_PIPE_INSTANCE,
                            PIPE_TYPE_BYTE | PIPE_READMODE_BYTE | PIPE_WAIT | PIPE_REJECT_REMOTE_CLIENTS, instances,
                            pipe_block, pipe_block, default_time_out, nullptr);
}

// With the rights that the ends of an anonymous pipe have.
HANDLE open_child_end(const std::wstring& name, pipe_direction direction) {
  const DWORD access = direction == pipe_direction::from_child ? GENERIC_WRITE | FILE_READ_ATTRIBUTES
                                                               : GENERIC_READ | FILE_WRITE_ATTRIBUTES;
  constexpr DWORD not_shared = 0;
  return ::CreateFileW(name.c_str(), access, not_shared, nullptr, OPEN_EXISTING, 0, nullptr);
}

bool other_side_has_closed(DWORD error) {
  return error == ERROR_BROKEN_PIPE || error == ERROR_NO_DATA || error == ERROR_PIPE_NOT_CONNECTED ||
         error == ERROR_HANDLE_EOF;
}

}  // namespace

overlapped_end::overlapped_end(pipe_direction direction) : direction_(direction) {
  std::wstring name = next_name();
  HANDLE pipe = create_our_end(name, direction);
  constexpr int tries = 8;
  for (int others = 1; others != tries && pipe == INVALID_HANDLE_VALUE && is_taken(::GetLastError()); ++others) {
    name = next_name();
    pipe = create_our_end(name, direction);
  }
  pipe_ = made_by("CreateNamedPipeW", pipe);
  child_ = made_by("CreateFileW", open_child_end(name, direction));
  event_ = made_by("CreateEventW", ::CreateEventW(nullptr, TRUE, FALSE, nullptr));
}

overlapped_end::~overlapped_end() {
  close();
}

process::iopipe_device overlapped_end::take_child_end() {
  const bool writes = direction_ == pipe_direction::from_child;
  void* const none = nullptr;
  const process::iopipe_handles handles(writes ? none : child_.get(), writes ? child_.get() : none);
  process::iopipe_device device(handles, false, process::open_mode::binary);
  child_.release();
  return device;
}

void overlapped_end::begin_read(char* buffer, DWORD bytes) {
  overlapped_ = {};
  overlapped_.hEvent = event_.get();
  expect(::ReadFile(pipe_.get(), buffer, bytes, nullptr, &overlapped_), "ReadFile");
}

void overlapped_end::begin_write(const char* buffer, DWORD bytes) {
  overlapped_ = {};
  overlapped_.hEvent = event_.get();
  expect(::WriteFile(pipe_.get(), buffer, bytes, nullptr, &overlapped_), "WriteFile");
}

void overlapped_end::expect(BOOL begun, const char* call) {
  const DWORD error = begun ? ERROR_IO_PENDING : ::GetLastError();
  if (error == ERROR_IO_PENDING) {
    state_ = state::under_way;
    return;
  }
  if (!other_side_has_closed(error)) {
    throw_system_error(error, call);
  }
  state_ = state::ended;
  ::SetEvent(event_.get());  // for who waits before `poll`
}

overlapped_end::outcome overlapped_end::poll() {
  if (state_ != state::under_way) {
    return {std::exchange(state_, state::idle), 0};
  }
  if (!HasOverlappedIoCompleted(&overlapped_)) {
    return {state::under_way, 0};
  }
  state_ = state::idle;
  DWORD bytes = 0;
  if (::GetOverlappedResult(pipe_.get(), &overlapped_, &bytes, FALSE)) {
    return {state::done, bytes};
  }
  const DWORD error = ::GetLastError();
  if (!other_side_has_closed(error)) {
    throw_system_error(error, "GetOverlappedResult");
  }
  return {state::ended, 0};
}

void overlapped_end::close() noexcept {
  if (!is_open()) {
    return;
  }
  const DWORD last_error = ::GetLastError();
  if (state_ == state::under_way && !HasOverlappedIoCompleted(&overlapped_)) {
    ::CancelIoEx(pipe_.get(), &overlapped_);
  }
  pipe_.reset();  // Cancels, too, should the call above have been refused.
  settle();
  ::SetLastError(last_error);
}

// Until the system has let go of the buffer and of `overlapped_`, which it does after it has ended the transfer.
void overlapped_end::settle() noexcept {
  constexpr DWORD look_again = 10;  // ms, should the wait be refused, or the event be set by somebody else
  while (state_ == state::under_way && !HasOverlappedIoCompleted(&overlapped_)) {
    if (::WaitForSingleObject(event_.get(), look_again) != WAIT_TIMEOUT) {
      ::SwitchToThread();
    }
  }
  state_ = state::idle;
}

}  // namespace foundation::kit::detail
