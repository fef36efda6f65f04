// The flag that lets a child inherit a handle.
#pragma once

#include <fl/process/iopipe_device.hpp>

namespace foundation::core::sysdep::windows {

/// Marks `handle` (borrowed) inheritable. Throws boost::system::system_error "SetHandleInformation", without a log
/// record.
void mark_inheritable(void* handle);

/// The same for an end of `pipe`. Also throws so, with the code of an invalid handle, where that end is not open.
void mark_read_end_inheritable(const process::iopipe_device& pipe);
void mark_write_end_inheritable(const process::iopipe_device& pipe);

}  // namespace foundation::core::sysdep::windows
