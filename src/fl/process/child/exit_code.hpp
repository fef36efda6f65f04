// The exit code of a process as a status. Implemented in windows/child/exit_code.cpp.
#pragma once

#include <fl/process/exit_status.hpp>

namespace foundation::core::sysdep::windows {

/// The status of the process behind `handle` (borrowed) as it is now, without waiting: `unknown` while it runs and for
/// an exit code of 259. Throws boost::system::system_error "GetExitCodeProcess".
process::exit_status_variant read_exit_status(void* handle);

}  // namespace foundation::core::sysdep::windows
