// The memory that a process holds now.
#pragma once

namespace foundation::core::sysdep::windows {

/// Bytes in the current working set of the process with the id `pid`. Throws boost::system::system_error, with the
/// source location, if the process cannot be opened or asked. Any thread.
unsigned long long compute_working_set_size(unsigned long pid);

}  // namespace foundation::core::sysdep::windows
