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
    std::swap(handle_, other.handle_);
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

 private:
  HANDLE handle_ = nullptr;
};

/// What `call` has made, to be used directly on its result. Throws boost::system::system_error if that is null.
inline owned_handle made_by(const char* call, HANDLE handle) {
  if (handle == nullptr) {
    core::sysdep::windows::throw_system_error(GetLastError(), call);
  }
  return owned_handle(handle);
}

}  // namespace foundation::kit
