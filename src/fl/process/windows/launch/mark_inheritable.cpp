#include "process/windows/launch/mark_inheritable.hpp"

#include "common/windows/system_error.hpp"

#include <windows.h>

namespace foundation::core::sysdep::windows {

void mark_inheritable(void* handle) {
  if (!::SetHandleInformation(handle, HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT)) {
    throw_system_error(::GetLastError(), "SetHandleInformation");
  }
}

namespace {

// A closed end keeps its number, which the system gives to whatever is opened next: no child must get that.
void mark_end_inheritable(bool is_open, void* handle) {
  if (!is_open) {
    throw_system_error(ERROR_INVALID_HANDLE, "SetHandleInformation");
  }
  mark_inheritable(handle);
}

}  // namespace

void mark_read_end_inheritable(const process::iopipe_device& pipe) {
  mark_end_inheritable(pipe.is_open_for_read(), pipe.handles().read_handle());
}

void mark_write_end_inheritable(const process::iopipe_device& pipe) {
  mark_end_inheritable(pipe.is_open_for_write(), pipe.handles().write_handle());
}

}  // namespace foundation::core::sysdep::windows
