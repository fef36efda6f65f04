// A handle that is closed when its owner goes.
#pragma once

#include "common/windows/system_error.hpp"

#include <windows.h>

#include <utility>

namespace foundation::kit {

/// Null, or a handle that nobody else closes. Belongs to one thread at a time.
class owned_handle {
 public:
  owned_handle() = default;
  explicit owned_handle(HANDLE handle) noexcept : handle_(handle) {}
  owned_handle(owned_handle&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}
  owned_handle& operator=(owned_handle&& other) noexcept {
    owned_handle replaced(std::move(other));
    std::swap(handle_, replaced.handle_);
    return *this;
  }
  /// The last error is as it was before.
  ~owned_handle() {
    if (handle_ != nullptr) {
      const DWORD last_error = GetLastError();
      CloseHandle(handle_);
      SetLastError(last_error);
    }
  }

  HANDLE get() const noexcept { return handle_; }
  /// Null from now on; who asks closes the handle.
  HANDLE release() noexcept { return std::exchange(handle_, nullptr); }
  /// Closes the handle, too.
  void reset() noexcept { owned_handle ended(std::move(*this)); }

 private:
  HANDLE handle_ = nullptr;
};

/// What `call` has made, to be used directly on its result. Throws boost::system::system_error if that is none: null,
/// or for files and pipes the invalid handle.
inline owned_handle made_by(const char* call, HANDLE handle) {
  if (handle == nullptr || handle == INVALID_HANDLE_VALUE) {
    core::sysdep::windows::throw_system_error(GetLastError(), call);
  }
  return owned_handle(handle);
}

}  // namespace foundation::kit
