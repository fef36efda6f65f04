// The flag that lets a child inherit a handle.
#pragma once

namespace foundation::core::sysdep::windows {

/// Marks `handle` (borrowed) inheritable. Throws boost::system::system_error "SetHandleInformation", without a log
/// record.
void mark_inheritable(void* handle);

}  // namespace foundation::core::sysdep::windows
