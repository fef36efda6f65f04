// The system calls that a pipe needs, in plain values: everything else about pipes is logic that compiles everywhere.
// `windows/pipe_calls.cpp` implements them; the sanitizer build puts a scripted fake in their place.
//
// Threads: callable from any. No function throws; the result shows a failure, with the system's error code read
// right behind the failed call.
#pragma once

#include <fl/process/iopipe_handles.hpp>

#include <cstdint>

namespace foundation::core::sysdep::windows {

inline constexpr std::uint32_t error_handle_eof = 38;    // ERROR_HANDLE_EOF
inline constexpr std::uint32_t error_broken_pipe = 109;  // ERROR_BROKEN_PIPE

/// Which call failed, for the text of an exception, and why.
struct pipe_failure {
  const char* call = nullptr;  ///< a literal; null if nothing failed
  std::uint32_t error = 0;     ///< the system's code; only meaningful with `call`

  explicit operator bool() const noexcept { return call != nullptr; }
};

struct pipe_creation {
  process::iopipe_handles handles;  ///< both null after a failure
  pipe_failure failure;
};

struct pipe_transfer {
  std::uint32_t bytes = 0;  ///< transferred; 0 after a failure
  pipe_failure failure;
};

/// An anonymous pipe with the system's default buffer size. Its handles are not inheritable and belong to the caller.
pipe_creation create_pipe() noexcept;

/// Blocks until there are bytes or the read fails. The call is named "ReadFile".
pipe_transfer read_pipe(void* handle, char* buffer, std::uint32_t bytes) noexcept;

/// The same for a handle that was opened for overlapped use; also waits until the read is complete. The calls are named
/// "AsyncReadFile" and "GetOverlappedResult".
pipe_transfer read_pipe_overlapped(void* handle, char* buffer, std::uint32_t bytes) noexcept;

/// Blocks until there is room. Writing 0 bytes is a system call, too. The call is named "WriteFile".
pipe_transfer write_pipe(void* handle, const char* buffer, std::uint32_t bytes) noexcept;

/// Ignores the system's refusal and leaves the calling thread's last error as it was.
void close_pipe_handle(void* handle) noexcept;

}  // namespace foundation::core::sysdep::windows
