#include "process/windows/launch/mark_inheritable.hpp"

#include "common/windows/system_error.hpp"

#include <windows.h>

namespace foundation::core::sysdep::windows {

void mark_inheritable(void* handle) {
  if (!::SetHandleInformation(handle, HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT)) {
    throw_system_error(::GetLastError(), "SetHandleInformation", BOOST_CURRENT_LOCATION);
  }
}

}  // namespace foundation::core::sysdep::windows
