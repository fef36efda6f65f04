// A scope guard for system handles that refers to the variable holding the handle, so that a later change of the
// handle is seen: one of the same function, or a member that is declared before the guard. Not thread-safe.
#pragma once

#include <windows.h>

#include <functional>
#include <utility>

namespace foundation::core::sysdep::windows {

/// What a HandleCloser does at the end of its scope; `leave` hands the ownership on.
enum class CloseOnDestruction { close = 0, leave = 1 };

template <class T>
struct HandleCloser {
  explicit HandleCloser(
      T& variable, std::function<void(T&)> how = [](T& h) { ::CloseHandle(h); })
      : handle(variable), closer(std::move(how)) {}
  HandleCloser(const HandleCloser&) = delete;
  HandleCloser& operator=(const HandleCloser&) = delete;

  /// Closes a handle that is not null. The last error is as it was before.
  ~HandleCloser() {
    if (mode == CloseOnDestruction::leave || !handle) {
      return;
    }
    const DWORD last_error = ::GetLastError();
    closer(handle);
    ::SetLastError(last_error);
  }

  T& handle;
  CloseOnDestruction mode = CloseOnDestruction::close;
  std::function<void(T&)> closer;
};

}  // namespace foundation::core::sysdep::windows
